// Puts the page together: messages go to ports, ports are shown in a table and on cards.

import {Port} from './model/port.js';
import {Alarm} from './view/alarm.js';
import {connectToBroker} from './view/connection.js';
import {Entry} from './view/entry.js';
import {Events} from './view/events.js';
import {Feed} from './view/feed.js';
import {setText} from './view/fields.js';
import {recall, rememberOnLeaving} from './view/memory.js';
import {Ports} from './view/ports.js';

const UPDATE_MILLISECONDS = 250;
const UPDATES_TO_A_DRAWING = 4;
const UPDATES_TO_A_SORTING = 20;
const FIRST_MESSAGES_MILLISECONDS = 1000;  // for what the broker has retained
const QUIET_MILLISECONDS = 5000;  // between announcements: a line may appear and disappear all day
const SILENT_MILLISECONDS = 1500;  // after so long without a record the broker is asked
const MAX_SILENT_MILLISECONDS = 5000;  // without an answer the network is taken for dead

const memory = recall();
const ports = new Ports(memory.unfolded);
const lists = {
  state: new Events('state', 'State and status', memory.state),
  gap: new Events('gap', 'Gaps and settings of the clock', memory.gap),
};
const alarm = new Alarm(document.getElementById('alarm'), memory.notified);
const link = {online: false, since: Date.now(), heardAt: 0, askedAt: 0};
let written = {stations: []};
let pageName = '';

const news = new Map();  // for those who cannot see the page: the latest of each port
let announcedAt = -QUIET_MILLISECONDS;

/** The time by a clock that is never set, also after the page was loaded again. */
function steadyNow() {
  return performance.timeOrigin + performance.now();
}

function announce() {
  if (!news.size || performance.now() - announcedAt < QUIET_MILLISECONDS) return;
  document.getElementById('announcer').textContent = [...news.values()].join('. ');
  news.clear();
  announcedAt = performance.now();
}

function entryOf(device, number) {
  const known = ports.get(`${device}/${number}`);
  if (known) return known;
  const port = new Port(device, number, (kind, text) => {
    lists[kind].add(port.name, text);
    if (kind === 'state') news.set(port.name, `${port.name}: ${text}`);
  }, link.since);
  const remembered = memory.ports?.find((saved) =>
    saved.device === device && saved.number === number);
  if (remembered) port.restore(remembered);
  const entry = new Entry(port, feed, () => update(true));
  entry.setStations(written.stations);
  const now = Date.now();
  entry.computeState(now, link);
  entry.showLine(now);
  ports.add(entry, now);
  return entry;
}

function showStations(file) {
  written = file;
  for (const entry of ports) entry.setStations(file.stations);
  const names = new Set(file.stations.map((station) => station.name).filter(Boolean));
  pageName = names.size === 1 ? [...names][0] : '';
  setTimeout(addSilentInstruments, FIRST_MESSAGES_MILLISECONDS);
  update(true);
}

/** The file may have instruments of which the broker knows nothing. */
function addSilentInstruments() {
  const isCentral = written.stations.length > 1 || [...ports].some(({port}) => port.device);
  for (const station of written.stations) {
    for (const instrument of station.instruments) {
      if ([...ports].some((entry) => entry.instruments.includes(instrument))) continue;
      entryOf(isCentral ? station.name : '', instrument.port ?? '');
    }
  }
}

function showConnection(online, reason) {
  const element = document.getElementById('connection');
  element.dataset.state = online ? 'live' : 'stopped';
  setText(element, online ? 'Connected to the broker' :
    `No connection to the broker, trying again${reason ? ` (${reason})` : ''}`);
}

function setOnline(online, reason) {
  showConnection(online, reason);
  if (online === link.online) return;
  Object.assign(link, {online, since: Date.now()});
  lists.state.add('', online ? 'This page connected to the broker' : 'This page lost the broker');
  if (online) for (const {port} of ports) port.connected(link.since);
  update(true);
}

/** Is a silent port's silence the broker's? One that does not answer either is given up. */
function askIfSilent(now) {
  const silence = now - Math.max(link.heardAt, link.since);
  if (silence > MAX_SILENT_MILLISECONDS) connection.drop();
  const isSilent = ({port}) => now - (port.heardAt ?? port.connectedAt) > SILENT_MILLISECONDS;
  if (silence < SILENT_MILLISECONDS && ![...ports].some(isSilent)) return;
  if (now - link.askedAt < SILENT_MILLISECONDS / 3) return;
  link.askedAt = now;
  connection.ask();
}

/** Without the broker nothing is known of the ports. */
function lookForSilence(now) {
  const signs = [{name: 'the broker', heardAt: link.online ? now : null, since: link.since}];
  for (const {port} of link.online ? ports : []) {
    signs.push({name: port.name, heardAt: port.heardAt, since: port.connectedAt});
  }
  alarm.look(signs, now);
}

let updates = 0;
function update(all) {
  const now = Date.now();
  const isSecond = all || ++updates % UPDATES_TO_A_DRAWING === 0;
  const isRare = all || updates % UPDATES_TO_A_SORTING === 0;
  for (const entry of ports) {
    entry.computeState(now, link);
    if (isRare || (isSecond && entry.isInSight)) entry.computeMeans();
  }
  if (link.online) askIfSilent(now);
  for (const list of Object.values(lists)) list.update();
  announce();
  if (isSecond) {
    lookForSilence(now);
    ports.showTitle(pageName);
  }
  if (isRare) ports.sort(now);
  if (document.hidden) return;
  if (isSecond) ports.showLines(now, isRare);
  ports.showCards(now, steadyNow());
  if (isSecond) ports.draw();
}

const feed = new Feed(showStations);
const connection = connectToBroker({
  onOnline: setOnline,
  onPacket: () => { link.heardAt = Date.now(); },
  onMessage: (device, number, subtopic, text, retained) =>
    entryOf(device, number).port.handle(subtopic, text, retained, Date.now(), steadyNow()),
});
rememberOnLeaving(() => ({
  unfolded: ports.unfoldedKeys(),
  ports: [...ports].map(({port}) => ({device: port.device, number: port.number, ...port.save()})),
  notified: [...alarm.watch.notified],
  state: lists.state.rows(),
  gap: lists.gap.rows(),
}));
setInterval(() => update(false), UPDATE_MILLISECONDS);
