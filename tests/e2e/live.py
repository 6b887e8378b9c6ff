"""The live page in a real browser, served by a real broker."""

import csv
import http.client

try:
    from selenium import webdriver
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
except ImportError:
    webdriver = None

from harness import *

CONFIGURATION = Path(os.environ["DEVICE_BROKER_CONF"])
FOLDER = BUILD / "live-page"
SOON = 3  # seconds within which the page tells what happened
BROWSER = ["chromium", "chromedriver"]
OPTIONS = ["headless", "no-sandbox", "disable-gpu", "no-first-run", "window-size=1200,2500",
           "disable-background-networking", f"user-data-dir={RUN}/browser"]
RECORD = ('{ "SECONDS" : %d, "NANOSECONDS" : %d, "u" : 3.00, "v" : -4.00, "w" : 0.07, '
          '"sos" : 343.21, "ts" : 21.50, "diag" : "0" }')


class Page:
    """The page, opened in a browser. `fields` finds what a port's card says, by data-field."""

    def __init__(self):
        options = webdriver.ChromeOptions()
        for option in OPTIONS:
            options.add_argument("--" + option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options)
        self.script = self.driver.execute_script
        self.command("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(RUN))
        self.driver.get("http://localhost:8080/")
        wait_until(lambda: self.text("#connection") == "Connected to the broker")

    def command(self, name, **parameters):
        self.driver.execute_cdp_cmd(name, parameters)

    def card(self, port, device=""):
        return self.driver.find_element(
            By.CSS_SELECTOR, f'[data-device="{device}"] [data-number="{port}"]')

    def fields(self, port=1, device=""):
        """What the card says at one moment."""
        return self.script("""
            const fields = arguments[0].querySelectorAll('[data-field]');
            return Object.fromEntries([...fields].map(e => [e.dataset.field, e.textContent]));
            """, self.card(port, device))

    def text(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector).get_property("textContent")


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


@unittest.skipUnless((FOLDER / "index.html").exists(), "no live page: it is built with npm")
@unittest.skipUnless(webdriver and all(map(shutil.which, BROWSER)), "no chromium or its driver")
class LiveTest(DeviceTest):

    def setUp(self):
        self.broker = Broker(CONFIGURATION)
        self.port = Port()

    def tearDown(self):
        log = self.page.driver.get_log("browser")
        self.assertEqual([], [entry for entry in log if entry["source"] == "javascript"])
        self.page.driver.quit()

    def assert_says(self, field, pattern, port=1, device="", seconds=60):
        def check():
            says = self.page.fields(port, device)[field]
            return re.search(pattern, says) or self.fail(f"{field} says {says!r}, not {pattern!r}")
        wait_until(check, seconds)

    def test_faults(self):
        """What happens to the instrument, the daemon and the broker is soon seen."""
        self.page = Page()
        wait_until(lambda: "No port has published" in self.page.text("main"))
        self.start("--pause 50:3.5")
        self.assert_says("meaning", "^the instrument is being set up")
        self.assert_says("state", "^Data come$")
        self.assert_says("status", "^Connected$")

        self.assert_says("state", "^No data; last record [23] s ago$")
        self.assert_says("status", "^Disconnected$")
        self.assert_says("state", "^Data come$")
        self.assert_says("missed", "^112$")  # 3.5 s at 32 records a second
        self.assertIn("Gap of 3.531 s after 2023-11-14 22:46:41.531: 112 records missed",
                      self.page.text("#events"))

        self.broker.end(signal.SIGKILL)
        self.assert_says("state", "^Unknown: no connection to the broker", seconds=SOON)
        self.assertIn("No connection", self.page.text("#connection"))
        time.sleep(SOON)  # so that only a new record makes the page say that data come
        self.broker = Broker(CONFIGURATION)
        self.assert_says("state", "^Data come$")

        self.daemon.end(signal.SIGKILL)
        self.assert_says("state", "^No data; last record [23] s ago$", seconds=SOON)
        self.assert_says("status", "^Disconnected$")
        wait_until(lambda: "port 1: Disconnected" in self.page.text("#announcer"))
        self.page.driver.refresh()
        self.assert_says("state", "more than . s ago, before this page connected$")
        self.assert_says("statusAge", "^for more than . s$")

    def test_values(self):
        """The page and the table that it saves say what the data files say, of two ports."""
        self.page = Page()
        other = another_port(2)
        other.simulator("--seed 2 --errors 70 --records 200")
        other.sonicd("-r 20")
        self.start("--records 240")
        self.assert_says("state", "^Data come")
        self.assert_says("rate", "^3[0-3]")
        self.assert_says("state", "^No data", port=1)
        self.assert_says("state", "^No data", port=2)
        self.assert_says("faults", "^not 0 in 2 records", port=2)

        for number, port, rate in (1, self.port, 32), (2, other, 20):
            with self.subTest(port.name):
                (file,) = port.home.glob("*.young_81000_v.*")
                lines = [line.split("\t") for line in
                         re.findall("DATA_SONIC\t(.*)\t", file.read_text("latin-1"))]
                last = dict(zip(COLUMNS[3:], lines[-1][2:]))
                last["speed"] = "%.2f" % (float(last["u"]) ** 2 + float(last["v"]) ** 2) ** 0.5
                last["missed"] = "0"
                fields = self.page.fields(number)
                self.assertEqual(last, {name: fields[name] for name in last})
                table = [[float(field) for field in line] for line in lines]
                self.assertEqual(table, self.save(number))

                # Of ten seconds or more, a quarter from the middle.
                chart = self.page.card(number).find_element(By.CLASS_NAME, "u-over")
                ActionChains(self.page.driver).drag_and_drop_by_offset(
                    chart, chart.size["width"] // 4, 0).perform()
                part = self.save(number)
                self.assertAlmostEqual(2.5 * rate, len(part), delta=2)
                first = table.index(part[0])
                self.assertEqual(part, table[first:first + len(part)])
                self.assertAlmostEqual(5 * rate, first, delta=2)

    def save(self, number):
        """The rows of the table that the page saves."""
        self.page.card(number).find_element(By.CSS_SELECTOR, "[data-action=csv]").click()
        file = wait_until(lambda: [*RUN.glob(f"port_{number}_*.csv")])[0]
        head, *rows = csv.reader(file.read_text().splitlines())
        file.unlink()
        self.assertEqual(COLUMNS[1:-1], head)
        return [[float(field) for field in row] for row in rows]

    def test_messages(self):
        """Anybody on the device may publish anything: it is counted, and does no harm."""
        self.page = Page()
        topic = self.port.topic
        no_records = ["null", "7", "[]", "", b"\xff\x00{", (RECORD % (1, 0)).replace("3.00", ""),
                      RECORD.replace("%d", "8639999999999"), RECORD.replace("%d", '"1"')]
        publish(topic + "/fast", *no_records)
        publish(topic + "/else", "by <b>somebody</b>")
        self.assert_says("unreadable", f": {len(no_records) + 1}. .*<b>somebody</b>")
        self.assert_says("state", "^No data$")

        publish(topic + "/status", "<img src=x onerror=alert(1)>", "Info trying 19200")
        self.assert_says("meaning", "^listening and knocking at 19200 baud$")
        self.assertIn("<img src=x", self.page.text("#events"))

        publish(topic, RECORD % (START, 0))
        publish(topic + "/fast", RECORD.replace("-4.00", "null") % (START, 0))
        publish(topic + "/fast", RECORD % (START, 250000000))
        self.assert_says("time", "22:46:40.250$")
        fields = self.page.fields()
        self.assertEqual(["3.00", "-4.00", "5.00", "307°"],
                         [fields[name] for name in ("u", "v", "speed", "angle")])
        # Ten a second, two missed, some held up, a pause, and on at 32 a second.
        tenths = [51.4 + k / 100 if 30 <= k < 52 else k for k in range(61) if k not in (20, 21)]
        publish(topic + "/fast", *[RECORD % divmod((START + 1) * 10**9 + round(t * 10**8), 10**9)
                                   for t in [*tenths, 100, 100.3125]])
        self.assert_says("time", "22:46:51.031$")
        self.assertEqual(["4", "0.3"], re.findall("Gap of ([0-9.]*)", self.page.text("#events")))
        self.assert_says("missed", "^41$")
        publish(topic + "/fast", RECORD.replace('"u" : 3.00', '"u" : null') % (START - 9, 0))
        self.assert_says("speed", "^–$")
        self.assertIn("Record time went back by 20.031 s", self.page.text("#events"))
        self.page.script("const now = Date.now; Date.now = () => now() - 3600e3;")
        self.assert_says("state", "^No data; last record 0 s ago$")

    def test_visitor(self):
        """Who comes to the page's listener may read the ports' topics and the page's files."""
        self.page = Page()
        heard = Process("mosquitto_sub", "-h", "::1", "-v", "-t", "#")
        publish("secret", "secret", retain=True)
        self.page.script("""
            const will = {topic: 'visitor', payload: 'was here'};
            const visitor = mqtt.connect(`ws://${location.host}`, {username: 'admin', will});
            window.heard = [];
            visitor.on('message', (topic) => heard.push(topic));
            visitor.subscribe(['#', '$SYS/#'], {qos: 1}, (_, [to]) => heard.push(to.qos));
            for (const topic of ['visitor', '/home/qelta/device/port/1/status']) {
              visitor.publish(topic, 'was here', {retain: true}, () => heard.push('sent'));
            }""")
        wait_until(lambda: self.page.script("return heard.length") == 3)
        publish(self.port.topic, "seen", "seen")
        wait_until(lambda: self.page.script("return heard.length") >= 5)
        self.assertEqual({"sent", 0, self.port.topic}, set(self.page.script("return heard")))
        heard.wait_for("seen", 2)
        self.assertNotIn("was here", heard.output)

        secret = FOLDER.with_name(FOLDER.name + "-secret")
        secret.write_text("secret")
        self.assertEqual(200, self.status_of("/index.html"))
        for path in f"/../{secret.name}", f"/%2e%2e/{secret.name}", f"/{secret}", "//etc/passwd":
            self.assertNotEqual(200, self.status_of(path))

    def status_of(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", 8080)
        connection.request("GET", path)
        return connection.getresponse().status

    def test_central_broker_on_a_phone(self):
        """Each device's ports stand under its name, and all fits the screen."""
        rights = ROOT / "deploy/mosquitto/live-central.acl.example"
        (RUN / "central.conf").write_text(
            re.sub("acl_file .*", f"acl_file {rights}", CONFIGURATION.read_text()))
        self.broker.end(signal.SIGTERM)
        self.broker = Broker(RUN / "central.conf")
        for name, port in [("mast-08", 1), ("mast-07", 4), ("mast-07", 1)]:
            publish(f"{name}/home/qelta/device/port/{port}", RECORD % (START, 0), retain=True)
        self.page = Page()
        self.page.command("Emulation.setDeviceMetricsOverride", width=360, height=640,
                          deviceScaleFactor=2, mobile=True)
        self.assert_says("state", "more than . s ago, before this page connected", 4, "mast-07")
        titles = self.page.driver.find_elements(By.CSS_SELECTOR, "main h2, main h3")
        self.assertEqual(["mast-07", "Port 1", "Port 4", "mast-08", "Port 1"],
                         [title.text for title in titles])

        publish("mast-07/home/qelta/device/port/1", RECORD % (START, 0))  # once more what was kept
        publish("mast-08/home/qelta/device/port/1", *[RECORD % (START + k, 0) for k in range(1, 9)])
        self.assert_says("state", "^Data come", 1, "mast-08")
        self.assertNotEqual("Data come", self.page.fields(1, "mast-07")["state"])
        strips = self.page.card(1, "mast-08").find_element(By.CLASS_NAME, "strips")
        self.page.script("arguments[0].scrollIntoView()", strips)
        wait_until(lambda: len(strips.find_elements(By.TAG_NAME, "canvas")) == 4)
        self.assertEqual(360, self.page.script("return document.documentElement.scrollWidth"))
        strips.send_keys("p")
        self.assertEqual(START + 1, self.page.script("""
            const {port, charts} = cards.get('mast-08/1');
            for (let k = 3e3; k--;) port.handleRecord({...port.record, time: port.record.time + 1});
            return charts.plots[0].data[0][0];"""))
        pause = self.page.card(1, "mast-08").find_element(By.CSS_SELECTOR, "[data-action=pause]")
        for keys, label in ("+", "Resume"), ("P", "Pause"):
            strips.send_keys(keys)
            self.assertEqual(label, pause.text)


if __name__ == "__main__":
    main()
