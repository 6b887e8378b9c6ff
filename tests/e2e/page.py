"""The live page, opened in a browser, for the tests of it."""

import json

try:
    from selenium import webdriver
    from selenium.webdriver.common.by import By
    import firefox
except ImportError:
    webdriver = None

from harness import *

CONFIGURATION = Path(os.environ["DEVICE_BROKER_CONF"])
FOLDER = BUILD / "live-page"
CHROMIUM_OPTIONS = ["headless", "no-sandbox", "disable-gpu", "no-first-run",
                    "disable-background-networking", "window-size=1200,2500",
                    f"user-data-dir={RUN}/browser"]
FIREFOX_PREFERENCES = {"browser.download.dir": str(RUN)}
RECORD = ('{ "SECONDS" : %d, "NANOSECONDS" : %d, "u" : 3.00, "v" : -4.00, "w" : 0.07, '
          '"sos" : 343.21, "ts" : 21.50, "diag" : "0" }')


def start_chromium():
    options = webdriver.ChromeOptions()
    for option in CHROMIUM_OPTIONS:
        options.add_argument("--" + option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(options=options)
    driver.execute_cdp_cmd("Browser.setDownloadBehavior",
                           {"behavior": "allow", "downloadPath": str(RUN)})
    return driver


def start_firefox():
    driver = firefox.start(RUN / "browser", FIREFOX_PREFERENCES)
    driver.set_window_rect(width=1200, height=2500)
    return driver


class Page:
    """`fields` finds what a port's card says, by data-field; `line` its line, by data-line."""

    def __init__(self, driver):
        self.driver = driver
        self.script = driver.execute_script
        self.driver.get("http://localhost:8080/")
        wait_until(lambda: self.text("#connection") == "Connected to the broker")

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def texts(self, selector):
        return self.script(
            "return [...document.querySelectorAll(arguments[0])].map(e => e.textContent)", selector)

    def text(self, selector):
        return self.texts(selector)[0]

    def port(self, port):
        """A port's part of the table; `port` is "1", or "mast-07/1" at a central broker."""
        key = port if "/" in port else f"/{port}"  # "/" is one without a number
        return self.driver.find_element(By.CSS_SELECTOR, f'[data-key="{key}"]')

    def says(self, port, attribute):
        return self.script("""
            const [port, name] = arguments;
            const found = [...port.querySelectorAll(`[data-${name}]`)];
            return Object.fromEntries(found.map(e => [e.dataset[name], e.textContent]));
            """, self.port(port), attribute)

    def fields(self, port="1"):
        return self.says(port, "field")

    def line(self, port):
        return self.says(port, "line")

    def click(self, port, selector):
        self.script("arguments[0].querySelector(arguments[1]).click()", self.port(port), selector)

    def move_clock(self, seconds):
        self.script("const [ahead] = arguments, now = window.Date.now;"
                    "window.Date.now = () => now() + ahead;", seconds * 1000)


def wait_until(check, seconds=60):
    """Returns what `check` returns as soon as that is true."""
    end = time.time() + seconds
    while True:
        try:
            if seen := check():
                return seen
        except Exception as error:  # not there yet
            seen = error
        if time.time() > end:
            raise AssertionError(f"not seen: {seen}")
        time.sleep(0.05)


def publish(topic, *texts, retain=False):
    for text in texts:
        options = ["-s" if text else "-n"] + ["-r"] * retain
        subprocess.run(["mosquitto_pub", "-h", "::1", "-t", topic, *options],
                       input=text if isinstance(text, bytes) else text.encode(), check=True)


def write_stations(stations, name="stations.json"):
    """Puts a file with half hours beside the page: the whole file, or its only station."""
    if "stations" not in stations:
        written = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
        stations = {"format": 1, "written": written, "stations": [stations]}
    (RUN / "data" / name).write_text(json.dumps(stations))


@unittest.skipUnless((FOLDER / "index.html").exists(), "no live page: it is built with npm")
@unittest.skipUnless(webdriver, "no python3-selenium")
class PageTest(DeviceTest):
    start_browser = staticmethod(start_chromium)

    def setUp(self):
        (RUN / "data").mkdir()
        subprocess.run(["mount", "--bind", RUN / "data", FOLDER / "data"], check=True)
        self.broker = Broker(CONFIGURATION)
        self.port = Port()

    def open_page(self):
        self.page = Page(self.start_browser())
        return self.page

    def tearDown(self):
        if not hasattr(self, "page"):
            return
        driver = self.page.driver
        if "chrome" in driver.capabilities.get("browserName", ""):
            log = driver.get_log("browser")
            self.assertEqual([], [entry for entry in log if entry["source"] == "javascript"])
        driver.quit()

    def assert_says(self, field, pattern, port="1", seconds=60):
        def check():
            says = self.page.fields(port)[field]
            return re.search(pattern, says) or self.fail(f"{field} says {says!r}, not {pattern!r}")
        wait_until(check, seconds)
