"""What the live page shows of records, of messages that are none, and of the written file."""

import csv
import datetime
import itertools

from page import *

AXE = ROOT / "live/node_modules/axe-core/axe.min.js"
PATH_TO_TOOLS = {**os.environ, "PATH": f"{BUILD}/tools:{os.environ['PATH']}"}
NOW = int(time.time()) // 1800 * 1800


def half_hour_lines(first, count, percents=(100,)):
    """As sonic-records prints them. The percentages of records repeat; without one there is no
    row."""
    lines = ["start,records,expected,percent,speed_scalar,direction,ts"]
    for k, percent in zip(range(count), itertools.cycle(percents)):
        start = datetime.datetime.utcfromtimestamp(first + k * 1800)
        if percent is not None:
            lines.append(f"{start:%Y-%m-%dT%H:%M:%SZ},{18 * percent},1800,{percent},3.1,143,21.5")
    return lines


def mast(lines):
    """mast-07 with an instrument that has these half hours."""
    return {"name": "mast-07", "instruments": [{"serial_number": "01234", "half_hours": lines}]}


class ViewTest(PageTest):

    def test_values(self):
        """The page, the table that it saves and sonic-plot's say what the data files say."""
        self.open_page()
        other = another_port(2)
        other.simulator("--seed 2 --errors 70 --records 200")
        other.sonicd("-r 20")
        self.start("--records 240")
        self.assert_says("state", "^Receiving data")
        self.assert_says("rate", "^3[0-3]")
        self.assert_says("state", "^No data for", port="1")
        self.assert_says("state", "^No data for", port="2")
        self.assert_says("faults", "^not 0 in 2 records", port="2")

        for number, port, rate in ("1", self.port, 32), ("2", other, 20):
            with self.subTest(port.name):
                (file,) = port.home.glob("*.young_81000_v.*")
                lines = [line.split("\t") for line in
                         re.findall("DATA_SONIC\t(.*)\t", file.read_text("latin-1"))]
                last = dict(zip(COLUMNS[3:], lines[-1][2:]))
                last["speed"] = "%.2f" % (float(last["u"]) ** 2 + float(last["v"]) ** 2) ** 0.5
                last["missed"] = "0"
                direction = float(self.half_hour_means(file)["direction"])
                last |= dict.fromkeys(["minuteDirection", "tenDirection"], f"{direction:.0f}°")
                fields = self.page.fields(number)
                self.assertEqual(last, {name: fields[name] for name in last})
                self.assertEqual(lines, self.save(number))

                # Of ten seconds or more, a quarter from the middle.
                chart = self.page.port(number).find_element(By.CLASS_NAME, "u-over")
                webdriver.ActionChains(self.page.driver).drag_and_drop_by_offset(
                    chart, chart.rect["width"] // 4, 0).perform()
                part = self.save(number)
                self.assertAlmostEqual(2.5 * rate, len(part), delta=2)
                first = lines.index(part[0])
                self.assertEqual(part, lines[first:first + len(part)])
                self.assertAlmostEqual(5 * rate, first, delta=2)

    def half_hour_means(self, file):
        """The only row of sonic-plot's table of a file, by column."""
        table = subprocess.run([ROOT / "tools/sonic-plot", "--table", file], capture_output=True,
                               env=PATH_TO_TOOLS, text=True, check=True).stdout
        return dict(zip(*[line.split("\t") for line in table.splitlines()]))

    def shown_table(self):
        """All half hours of the first card, as lines of CSV."""
        wait_until(lambda: self.page.all(".history details"))
        self.page.script("document.querySelector('.history details').open = true")
        return wait_until(lambda: self.page.script("""
            return [...document.querySelectorAll('.half-hours tr')].map(
              (row) => [...row.cells].map((cell) => cell.textContent).join());"""))

    def save(self, number):
        """The rows of the table that the page saves, as text."""
        self.page.click(number, "[data-action=csv]")
        file = wait_until(lambda: [*RUN.glob(f"*port_{number}_*.csv")])[0]
        wait_until(lambda: not [*RUN.glob("*.csv.part")] and file.stat().st_size)
        head, *rows = csv.reader(file.read_text().splitlines())
        file.unlink()
        self.assertEqual("seconds nanoseconds u v w sos ts diag".split(), head)
        return rows

    def test_messages(self):
        """Anybody on the logger may publish anything: it is counted, and does no harm."""
        page = self.open_page()
        topic = self.port.topic
        no_records = ["null", b"\xff\x00{", "<b>", (RECORD % (1, 0)).replace("3.00", "")]
        publish(topic + "/fast", *no_records)
        publish(topic + "/else", "anything")
        self.assert_says("state", "^Records arrive, but cannot be read$")
        self.assert_says("unreadable", f"^{len(no_records)} messages of the last ten minutes could "
                                       r'not be read, the last at \d\d:\d\d:\d\d: .*"u\\" : ,')
        publish(topic + "/status", "<img src=x onerror=alert(1)>", "x" * 60000, "Info trying 19200")
        self.assert_says("meaning", "^: listening and knocking at 19200 baud$")
        self.assertIn("<img src=x", page.text("#state-events"))
        self.assertIn("… (60\u202f000 characters)", page.text("#state-events"))

        publish(topic, RECORD % (START, 0))
        publish(topic + "/fast", RECORD.replace("-4.00", "null") % (START, 0))
        publish(topic + "/fast", RECORD % (START, 250000000))
        self.assert_says("time", "22:46:40.250$")
        fields = page.fields()
        self.assertEqual(["3.00", "-4.00", "5.00", "143°"],
                         [fields[name] for name in ("u", "v", "speed", "direction")])
        self.assert_says("minuteSpeed", "^5.0$")
        self.assertEqual("", page.fields()["minuteGust"].strip("–"))
        page.move_clock(660)
        wait_until(lambda: not page.fields()["unreadable"])
        self.assert_says("state", "^No data for 11 min")

    def test_half_hours(self):
        """What happened in the night: from data files, some of them bad, to the page, with the
        digits of the other programs."""
        contents = [data_files.text, lambda start: data_files.text(start, 1700),
                    lambda start: data_files.text(start, 60, step=30)]  # good, fair and poor
        files = [data_files.write(HOME, start, contents[(k > 20) + (k > 26)](start))
                 for k, start in enumerate(range(NOW - 1800, NOW - 200 * 1800, -1800))]
        for k, text in (5, ""), (6, "\0" * 9999):
            files[k].write_text(text)
        written = RUN / "data/stations.json"
        (RUN / "settings").write_text(json.dumps({
            "name": "mast-07", "instruments": [{"serial_number": "01234", "mounting_angle": 30}]}))
        subprocess.run([BUILD / "tools/sonicd-history", "--output", written, "--cache",
                        RUN / "cache", "--settings", RUN / "settings", HOME],
                       env=PATH_TO_TOOLS, check=True)
        stations = json.loads(written.read_text())
        stations["stations"][0]["room"][0]["warning"] = "room for 3 days of data left"
        write_stations(stations)
        publish(self.port.topic, RECORD % (START, 0), retain=True)
        page = self.open_page()
        wait_until(lambda: page.all(".calendar .good"))
        self.assertEqual("Sonic anemometer, mast-07", page.text("h1"))
        self.assert_says("title", "^Port 1, instrument 01234$")
        self.assert_says("warning", "sonicd-room: room for 3 days of data left$")
        self.assert_says("direction", "^173°$")  # 143° and the mounting angle
        wait_until(lambda: page.text("title") == page.fields()["state"] + " – mast-07")
        self.assertEqual([19, 6, 172, 2], [len(page.all(f".calendar .{quality}"))
                                           for quality in ("good", "fair", "poor", "none")])

        table = self.shown_table()
        self.assertIn("mast-07 instrument 01234", page.text(".half-hours caption"))
        for program in ["sonic-records", "--half-hours"], [ROOT / "tools/sonic-plot", "--table"]:
            printed = subprocess.run([*program, *files], capture_output=True, text=True,
                                     env=PATH_TO_TOOLS).stdout
            self.assertEqual(printed.replace("\t", ",").splitlines(),
                             [line.rpartition(",")[0] for line in table])
        page.script("arguments[0].click()", page.all(".calendar .poor")[0])
        readout = page.text(".readout")
        (line,) = [line for line in table if line[:16] == readout[:16].replace(" ", "T")]
        row = dict(zip(table[0].split(","), line.split(",")))
        for part in (f"60 of 1800 records ({row['percent']} %)",
                     f"speed {row['speed_scalar']} m/s, gust {row['gust'] or '–'} m/s",
                     f"from {(float(row['direction']) + 30) % 360:.2f}°",
                     f"u* {row['ustar']} m/s (flag 2), w'T' {row['wt']} m/s °C (flag 2)"):
            self.assertIn(part, readout)
        page.script("document.querySelector('.calendar').dispatchEvent("
                    "new KeyboardEvent('keydown', {key: 'ArrowLeft'}))")
        self.assertNotEqual(readout, page.text(".readout"))
        page.click("1", "[data-action=day]")
        wait_until(lambda: len(page.all(".half-hours tbody tr")) == 48 - 2)

    def test_months_of_an_archive(self):
        """Months are read until there are eight days, and then when somebody goes back to them;
        also when the broker knows nothing of the mast."""
        index = mast([]) | {"files": {}}
        months = [("10", 9, 8), ("11", 3, 5), ("12", 0, 3)]  # how many days before now, how many
        for name, before, days in months:
            lines = half_hour_lines(NOW - (before + days) * 86400, 48 * days)
            write_stations(mast(lines), f"{name}.json")
            index["files"][f"2026-{name}"] = f"{name}.json"
        write_stations(index)
        page = self.open_page()
        wait_until(lambda: len(page.all(".calendar .good")) == 8 * 48)
        page.click("/", ".history [data-action=back]")
        wait_until(lambda: len(page.all(".calendar .good")) == 16 * 48)
        self.assertEqual(48, len(page.all(".calendar .none")))

    def test_reload(self):
        """A reload loses nothing of the last ten minutes, and forgets a port that was cleared."""
        tried = self.port.topic.replace("1", "4")
        for topic in "", "/fast", "/status":
            publish(tried + topic, RECORD % (START, 0), retain=True)
        page = self.open_page()
        wait_until(lambda: page.port("4"))
        document = (ROOT / "doc/live-access.md").read_text()
        (clear,) = re.findall("    (for topic in .*?done)", document, re.S)
        subprocess.run(["bash", "-c", clear], check=True)
        first = int(time.time()) - 30
        topic = self.port.topic + "/fast"
        publish(topic, *[RECORD.replace("3.00", f"3.{k:02}") % (first + k, 0) for k in range(20)])
        self.assert_says("u", "^3.19$")
        publish(self.port.topic + "/status", "Connected")
        self.assert_says("status", "^Connected$")
        page.driver.refresh()
        wait_until(lambda: page.text("#connection") == "Connected to the broker")
        publish(topic, RECORD % (first + 25, 0))
        self.assert_says("u", "^3.00$")
        self.assertEqual(1, len(page.all(".port")))
        self.assertEqual(21, len(ViewTest.save(self, "1")))
        self.assertIn("this page did not listen", page.text("#gap-events"))
        self.assertEqual(1, page.texts("#state-events td:last-child").count("Connected"))

    def test_alarm(self):
        """Those who ask get one notification that data stopped, and one that they are back."""
        page = self.open_page()
        publish(self.port.topic, RECORD % (START, 0))
        self.assert_says("state", "^Receiving data$")
        page.script("""
            window.told = [];
            window.Notification = class {
              constructor(text) { told.push(text); }
              static permission = 'granted';
              static async requestPermission() { return 'granted'; }
            };""")
        page.move_clock(3600)
        time.sleep(2)
        self.assertEqual([], page.script("return told"))  # off at first
        page.script("document.querySelector('[name=notify]').click()")
        wait_until(lambda: page.script("return told") == ["No data for 5 min: port 1"])
        publish(self.port.topic, RECORD % (START + 1, 0))
        wait_until(lambda: page.script("return told")[1:] == ["Data are back: port 1"])
        time.sleep(2)
        self.assertEqual(2, len(page.script("return told")))

    def test_for_everybody(self):
        """What a checker of accessibility finds in a page with all of its parts."""
        write_stations(mast(half_hour_lines(NOW - 99 * 1800, 99, (100, 95, 50, None))))
        publish(self.port.topic.replace("1", "2"), "{", retain=True)
        page = self.open_page()
        publish(self.port.topic, RECORD % (START + 2, 0))
        wait_until(lambda: page.all(".calendar .good") and page.all(".strips canvas"))
        page.script(AXE.read_text() + "window.axe = axe")
        page.script("axe.run().then(({violations}) => { window.found = violations; })")
        wait_until(lambda: page.script("return Boolean(window.found)"))
        self.assertEqual([], page.script(
            "return found.map(({id, nodes}) => [id, nodes.map(({html}) => html)])"))

    def test_fingers_and_paper(self):
        """Touch: a tap shows the value, two fingers zoom. Paper: dark on white, and all of it."""
        page = self.open_page()
        publish(self.port.topic + "/fast", *[RECORD % (START + k, 0) for k in range(20)])
        wait_until(lambda: len(page.all(".strips canvas")) == 6)
        page.script("""
            const strips = document.querySelector('.strips');
            const box = strips.querySelector('.u-over').getBoundingClientRect();
            window.finger = (type, pointerId, part) => {
              const [clientX, clientY] = [box.x + part * box.width, box.y + 20];
              const options = {pointerType: 'touch', pointerId, clientX, clientY};
              strips.dispatchEvent(new PointerEvent(type, options));
            };
            finger('pointerdown', 1, 0.5);
            finger('pointerup', 1, 0.5);""")
        self.assertRegex(page.text(".strip-title .value"), r"^3\.00 at 22:46:\d\d\.000$")
        page.script("""
            finger('pointerdown', 1, 0.4);
            finger('pointerdown', 2, 0.6);
            finger('pointermove', 1, 0.3);
            finger('pointermove', 2, 0.7);
            finger('pointerup', 1, 0.3);
            finger('pointerup', 2, 0.7);""")
        self.assertEqual("Resume", page.text("[data-action=pause]"))
        self.assertAlmostEqual(10, len(ViewTest.save(self, "1")), delta=1)

        widths = "return [...document.querySelectorAll('.strips .u-wrap')].map(e => e.offsetWidth)"
        before = page.script(widths)
        page.script("dispatchEvent(new Event('beforeprint'))")
        ink = "return getComputedStyle(document.documentElement).getPropertyValue('--ink')"
        self.assertEqual(["#111"], [page.script(ink).strip()])
        self.assertEqual({640}, set(page.script(widths)))
        page.script("dispatchEvent(new Event('afterprint'))")
        self.assertEqual(before, page.script(widths))


if __name__ == "__main__":
    main()
