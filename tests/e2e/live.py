"""The live page in a browser, served by a real broker: faults, visitors, many loggers."""

import base64
import http.client
import re
import resource
import socket
import struct

from page import *

SOON = 3  # seconds within which the page shows what happened
MQTT = ROOT / "live/node_modules/mqtt/dist/mqtt.min.js"


class Visitor:
    """A websocket to the page's listener, which says nothing of its own."""

    def __init__(self):
        self.socket = socket.create_connection(("127.0.0.1", 8080))
        key = base64.b64encode(os.urandom(16)).decode()
        self.socket.sendall(
            f"GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            f"Sec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n"
            f"Sec-WebSocket-Protocol: mqtt\r\n\r\n".encode())

    def send(self, payload):
        mask = b"\0\0\0\0"
        self.socket.sendall(b"\x82\xff" + struct.pack(">Q", len(payload)) + mask + payload)

    def begin_message(self, size):
        """Connects as a client of its own, and announces a message of this many bytes."""
        self.socket.recv(4096)  # the answer to the upgrade
        name = b"%d" % id(self)
        connect = b"\0\4MQTT\4\2\0\0" + struct.pack(">H", len(name)) + name
        self.send(b"\x10" + bytes([len(connect)]) + connect)
        self.socket.recv(4096)
        length = b""
        while size > 127:
            length += bytes([size & 127 | 128])
            size >>= 7
        self.send(b"\x30" + length + bytes([size]) + b"\0\1x")

    def go_on(self):
        try:
            self.send(bytes(65536))
        except OSError:  # refused: the broker has disconnected it
            pass


class LiveTest(PageTest):

    def test_faults(self):
        """What happens to the instrument, the daemon and the broker is soon seen."""
        self.open_page()
        wait_until(lambda: "No port has published" in self.page.text("main"))
        self.start("--pause 50:3.5")
        self.assert_says("meaning", "^: the instrument is being set up")
        self.assert_says("state", "^Receiving data$")
        self.assert_says("status", "^Connected$")

        self.assert_says("state", "^No data for [23] s$")
        self.assert_says("status", "^Disconnected$")
        self.assert_says("state", "^Receiving data$")
        self.assert_says("missed", "^112$")  # 3.5 s at 32 records a second
        self.assertIn("Gap of 3.531 s after 2023-11-14 22:46:41.531: 112 records missed",
                      self.page.text("#gap-events"))

        self.broker.end(signal.SIGKILL)
        self.assert_says("state", "^Unknown: no connection to the broker", seconds=SOON)
        self.assertIn("No connection", self.page.text("#connection"))
        time.sleep(SOON)  # so that only a new record makes the page say that data arrive
        self.broker = Broker(CONFIGURATION)
        self.assert_says("state", "^Receiving data$")

        self.daemon.end(signal.SIGKILL)
        self.assert_says("state", "^No data for [23] s$", seconds=SOON)
        self.assert_says("status", "^Disconnected$")
        # Of what happens within five seconds, only the last is announced.
        wait_until(lambda: re.search("port 1: (Disconnected|Data stopped)",
                                     self.page.text("#announcer")))
        self.assertRegex(" ".join(self.page.texts("#state-events td:last-child")),
                         "Data stopped.*Data are back after 3 s.*Data stopped")

    def test_silent_network(self):
        """A network that falls silent is not taken for an instrument that stopped."""
        page = self.open_page()
        publish(self.port.topic, RECORD % (START, 0))
        self.assert_says("state", "^Receiving data$")
        self.broker.signal(signal.SIGSTOP)
        states = set()
        while "No connection" not in page.text("#connection"):
            states.add(page.fields()["state"])
        self.broker.signal(signal.SIGCONT)
        self.assertIn("Unknown: nothing is heard from the broker", states)
        self.assertEqual(set(), {state for state in states if state.startswith("No data")})

    def test_visitor(self):
        """A visitor of the page's listener may read the ports' topics and the page's files."""
        page = self.open_page()
        heard = Process("mosquitto_sub", "-h", "::1", "-v", "-t", "#")
        publish("secret", "secret", retain=True)
        page.script(MQTT.read_text() + """
            window.mqtt = mqtt;
            const will = {topic: 'visitor', payload: 'was here'};
            const visitor = mqtt.connect(`ws://${location.host}`, {username: 'admin', will});
            window.heard = [];
            visitor.on('message', (topic) => heard.push(topic));
            visitor.subscribe(['#', '$SYS/#'], {qos: 1}, (_, [to]) => heard.push(to.qos));
            for (const topic of ['visitor', '/home/qelta/device/port/1/status']) {
              visitor.publish(topic, 'was here', {retain: true}, () => heard.push('sent'));
            }""")
        wait_until(lambda: page.script("return heard.length") == 3)
        publish(self.port.topic, "seen", "seen")
        wait_until(lambda: page.script("return heard.length") >= 5)
        self.assertEqual({"sent", 0, self.port.topic}, set(page.script("return heard")))
        heard.wait_for("seen", 2)
        self.assertNotIn("was here", heard.output)

        secret = FOLDER.with_name(FOLDER.name + "-secret")
        secret.write_text("secret")
        (RUN / "data/link.json").symlink_to("/etc/passwd")
        self.assertEqual(200, self.status_of("/index.html"))
        for path in (f"/../{secret.name}", f"/%2e%2e/{secret.name}", f"/{secret}", "//etc/passwd",
                     "/data/link.json"):
            self.assertNotEqual(200, self.status_of(path))

    def test_greedy_visitors(self):
        """Messages without an end and more connections than usual: the daemon's records go on."""
        deploy = ROOT / "deploy"
        (RUN / "limited.conf").write_text((deploy / "mosquitto/00-sonicd.conf").read_text() +
                                          CONFIGURATION.read_text())
        files = int(re.search(r"LimitNOFILE=(\d+)",
                              (deploy / "systemd/mosquitto.conf.in").read_text())[1])
        self.broker.end(signal.SIGTERM)
        hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(files, hard), hard))
        self.broker = Broker(RUN / "limited.conf")
        self.open_page()
        subscriber = Subscriber()
        self.start()
        self.daemon.wait_for("next switch")

        visitors = [Visitor() for _ in range(1500)]
        for visitor in visitors[:4]:
            visitor.begin_message(size=100_000_000)
        begin = time.time()
        received = len(subscriber.heard(self.port.topic + "/fast"))
        while time.time() < begin + 10:
            for visitor in visitors[:4]:
                visitor.go_on()
        self.assertGreater(len(subscriber.heard(self.port.topic + "/fast")), received + 9 * 32)
        publish("late", "arrives")
        subscriber.wait_for("late|arrives")
        status = Path(f"/proc/{self.broker.pid}/status").read_text()
        self.assertLess(int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]), 160_000)
        self.interrupt()

    def status_of(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", 8080)
        connection.request("GET", path)
        return connection.getresponse().status

    def test_central_broker_on_a_phone(self):
        """Each logger's ports are under its name, in the order in which people count."""
        rights = ROOT / "deploy/mosquitto/live-central.acl.example"
        (RUN / "central.conf").write_text(
            re.sub("acl_file .*", f"acl_file {rights}", CONFIGURATION.read_text()))
        self.broker.end(signal.SIGTERM)
        self.broker = Broker(RUN / "central.conf")
        ports = ["mast-10/1", "mast-9/10", "mast-9/2"]
        for name, number in [port.split("/") for port in ports]:
            publish(f"{name}/home/qelta/device/port/{number}", RECORD % (START, 0), retain=True)
        page = self.open_page()
        page.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": 360, "height": 640, "deviceScaleFactor": 2, "mobile": True})
        wait_until(lambda: "No data" == page.line("mast-9/2")["state"])
        self.assertEqual(["mast-9 port 2", "mast-9 port 10", "mast-10 port 1"],
                         page.texts("[data-line=name]"))
        self.assertRegex(page.line("mast-9/2")["age"], r"^\d+ y \d+ d ago$")
        self.assertEqual([], page.all("canvas"))  # nothing is drawn before it is unfolded

        publish("mast-9/home/qelta/device/port/2", RECORD % (START, 0))  # as a bridge repeats it
        publish("mast-10/home/qelta/device/port/1",
                *[RECORD % (START + k, 0) for k in range(1, 9)])
        wait_until(lambda: "Receiving data" == page.line("mast-10/1")["state"])
        self.assertEqual("No data", page.line("mast-9/2")["state"])
        page.click("mast-9/2", "button")
        page.click("mast-10/1", "button")
        strips = page.port("mast-10/1").find_element(By.CLASS_NAME, "strips")
        page.script("arguments[0].scrollIntoView()", strips)
        wait_until(lambda: len(strips.find_elements(By.TAG_NAME, "canvas")) == 6)
        self.assertEqual(360, page.script("return document.documentElement.scrollWidth"))
        pause = page.port("mast-10/1").find_element(By.CSS_SELECTOR, "[data-action=pause]")
        for keys, label in ("+", "Resume"), ("P", "Pause"):
            strips.send_keys(keys)
            self.assertEqual(label, pause.text)
        self.assertIn("mast-9/2", page.script("document.getElementById('worst').click();"
                                              "return document.querySelector('.port').dataset.key"))


if __name__ == "__main__":
    main()
