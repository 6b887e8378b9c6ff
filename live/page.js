'use strict';
// Puts the page together: messages go to ports, ports are shown on cards.

const UPDATE_MILLISECONDS = 250;
const UPDATES_TO_A_DRAWING = 4;
const QUIET_MILLISECONDS = 5000;  // between announcements: a line may come and go all day

const cards = new Map();  // by the port's name
const events = new Events(document.querySelector('#events tbody'));
const broker = {online: false, since: Date.now()};

const news = new Map();  // for who cannot see the page: of each port's state and status, the latest
let announcedAt = -QUIET_MILLISECONDS;

function announce() {
  if (!news.size || performance.now() - announcedAt < QUIET_MILLISECONDS) return;
  document.getElementById('announcer').textContent = [...news.values()].join('. ');
  news.clear();
  announcedAt = performance.now();
}

/// The part of the page with a device's ports, in the order of names.
function deviceSection(device) {
  const main = document.querySelector('main');
  const known = [...main.querySelectorAll('section.device')];
  const found = known.find((section) => section.dataset.device === device);
  if (found) return found;
  const section = document.createElement('section');
  section.className = 'device';
  section.dataset.device = device;
  const title = section.appendChild(document.createElement('h2'));
  title.textContent = device || 'This device';
  main.insertBefore(section, known.find((other) => other.dataset.device > device) || null);
  return section;
}

function cardOf(device, number) {
  const key = `${device}/${number}`;
  if (cards.has(key)) return cards.get(key);
  const port = new Port(device, number, (text) => events.add(port.name, text), broker.since);
  const card = new Card(port, (what, text) => news.set(`${key} ${what}`, `${port.name}: ${text}`));
  cards.set(key, card);
  const section = deviceSection(device);
  const later = [...section.querySelectorAll('.card')].find((other) => other.dataset.number > number);
  card.element.dataset.number = number;
  section.insertBefore(card.element, later || null);
  document.getElementById('nothing').hidden = true;
  return card;
}

function showConnection(online, reason) {
  const element = document.getElementById('connection');
  const text = online ? 'Connected to the broker' :
    `No connection to the broker, trying again${reason ? ` (${reason})` : ''}`;
  element.dataset.state = online ? 'live' : 'stopped';
  if (element.textContent !== text) element.textContent = text;
}

function setOnline(online, reason) {
  showConnection(online, reason);
  if (online === broker.online) return;
  broker.online = online;
  broker.since = Date.now();
  events.add('', online ? 'This page connected to the broker' : 'This page lost the broker');
  if (online) for (const card of cards.values()) card.port.connected(broker.since);
  update();
}

let updates = 0;
function update() {
  const now = Date.now();
  for (const card of cards.values()) card.update(now, broker.online);
  events.update();
  announce();
  if (document.hidden || ++updates % UPDATES_TO_A_DRAWING) return;
  for (const {charts} of cards.values()) {
    if (charts.inSight && !charts.frozen) charts.draw();
  }
}

connectToBroker({
  onOnline: setOnline,
  onMessage: (device, number, subtopic, text, kept) =>
    cardOf(device, number).port.handle(subtopic, text, kept, Date.now()),
});
setInterval(update, UPDATE_MILLISECONDS);
