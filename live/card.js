'use strict';
// The card of one port.

const CLOCKS_DIFFER_SECONDS = 5;

class Card {
  /// `onChange(what, text)` is told when data begin to come or stop ('state'), and of a new 'status'.
  constructor(port, onChange) {
    this.port = port;
    this.onChange = onChange;
    this.shown = {};  // state and status
    this.element = document.getElementById('card').content.firstElementChild.cloneNode(true);
    this.fields = {};
    for (const field of this.element.querySelectorAll('[data-field]')) {
      this.fields[field.dataset.field] = field;
    }
    this.fields.title.textContent = `Port ${port.number}`;
    this.element.setAttribute('aria-label', port.name);
    const strips = this.element.querySelector('.strips');
    this.charts = new Charts(strips, port, (paused) => this.showPaused(paused));
    this.listen(strips);
  }

  listen(strips) {
    const keys = {p: 'pause', ' ': 'pause', '+': 'in', '-': 'out', ArrowLeft: 'back',
      ArrowRight: 'on', 0: 'all', c: 'csv'};
    this.element.querySelector('.tools').addEventListener('click', (event) => {
      if (event.target.dataset.action) this.act(event.target.dataset.action);
    });
    strips.addEventListener('keydown', (event) => {
      const action = keys[event.key] || keys[event.key.toLowerCase()];  // with Shift or Caps Lock
      if (!action || event.ctrlKey || event.altKey || event.metaKey) return;
      event.preventDefault();
      this.act(action);
    });
  }

  act(action) {
    if (!this.port.window.length) return;
    const charts = this.charts;
    const actions = {
      pause: () => charts.frozen ? charts.resume() : charts.pause(),
      in: () => charts.zoom(0.5),
      out: () => charts.zoom(2),
      back: () => charts.move(-0.5),
      on: () => charts.move(0.5),
      all: () => charts.showAll(),
      csv: () => this.save(charts.csv(), charts.visible[0]),
    };
    actions[action]();
  }

  save(text, from) {
    const link = document.createElement('a');
    const name = this.port.name.replace(/[^\w-]+/g, '_');
    link.download = `${name}_${Math.floor(from)}.csv`;
    link.href = URL.createObjectURL(new Blob([text], {type: 'text/csv'}));
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
  }

  showPaused(paused) {
    const button = this.element.querySelector('[data-action=pause]');
    button.textContent = paused ? 'Resume' : 'Pause';
    button.classList.toggle('paused', paused);
  }

  set(field, text) {
    if (this.fields[field].textContent !== text) this.fields[field].textContent = text;
  }

  /// Shows what is known now. Without the broker nothing is known of the port.
  update(now, online) {
    const live = online && this.port.live(now);
    this.showState(now, online, live);
    this.showStatus(now, online, live);
    this.showRecord(now, live);
    this.fields.unreadable.hidden = !this.port.unreadable;
    if (this.port.unreadable) {
      this.set('unreadable', `Messages that could not be read: ${this.port.unreadable}. ` +
        `The last: ${JSON.stringify(this.port.unreadableText.slice(0, 150))}`);
    }
  }

  showState(now, online, live) {
    const {port} = this;
    const waiting = isRecent(port.connectedAt, now);
    const [state, text] =
      !online ? ['unknown', 'Unknown: no connection to the broker'] :
      live ? ['live', 'Data come'] :
      waiting ? ['unknown', 'Waiting for a record'] : ['stopped', 'No data'];
    const age =
      live || port.record === null ? '' :
      port.heardAt !== null ? `; last record ${formatAge(now - port.heardAt)} ago` :
      `; last record more than ${formatAge(now - port.connectedAt)} ago, before this page connected`;
    this.set('state', text + age);
    this.element.dataset.state = state;
    this.tellChange('state', text);
  }

  tellChange(what, text) {
    if (this.shown[what] !== text) this.onChange(what, text);
    this.shown[what] = text;
  }

  showStatus(now, online, live) {
    const {status, statusAt, connectedAt} = this.port;
    this.set('status', status ?? '');
    this.set('meaning', status === null ? 'no status was published' : statusMeaning(status, live));
    this.set('statusAge', status === null || !online ? '' :
      statusAt === null ? `for more than ${formatAge(now - connectedAt)}` :
      `for ${formatAge(now - statusAt)}`);
    if (status !== null) this.tellChange('status', status);
  }

  showRecord(now, live) {
    const {record, rates, gaps, window: records} = this.port;
    if (record === null) return;
    for (const name of ['u', 'v', 'w', 'ts', 'sos']) this.set(name, formatValue(record[name]));
    const angle = (Math.atan2(record.v, record.u) * 180 / Math.PI + 360) % 360;
    this.set('speed', formatValue(Math.round(Math.hypot(record.u, record.v) * 100) / 100));
    this.set('angle', Number.isNaN(angle) ? MISSING : `${Math.round(angle) % 360}°`);
    this.fields.arrow.setAttribute('transform', `rotate(${Number.isNaN(angle) ? 0 : -angle})`);

    this.set('diag', Number.isNaN(record.diag) ? MISSING : String(record.diag));
    const faults = records.columns().diag.reduce((sum, diag) => sum + (diag > 0), 0);
    this.set('faults', faults ? `not 0 in ${faults} record${faults === 1 ? '' : 's'} of ten minutes` : '');
    this.fields.diagBox.classList.toggle('alarm', record.diag > 0 || faults > 0);

    const rate = (seconds) => rates.mean(now, seconds)?.toFixed(1) ?? MISSING;
    this.set('rate', rate(5));
    this.set('minuteRate', rate(60));
    this.set('missed', String(gaps.missed(record.time)));
    this.set('time', formatTime(record.time));
    const ahead = now / 1000 - record.time;
    this.set('clock', !live || Math.abs(ahead) < CLOCKS_DIFFER_SECONDS ? '' :
      `this computer's clock is ${formatAge(Math.abs(ahead) * 1000)} ${ahead > 0 ? 'ahead' : 'behind'}`);
  }
}
