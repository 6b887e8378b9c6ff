// Notifies those who ask for it that data stopped: by a notification and a sound.

import {SilenceWatch} from '../model/watch.js';

const SETTINGS = 'sonic alarm';
const BEEPS = [[880, 0], [660, 0.3], [880, 0.6]];  // hertz, seconds from now
const BEEP_SECONDS = 0.22;
const MINUTE = 60000;

export class Alarm {
  /** `notified` are the ports that were reported before the page was loaded again. */
  constructor(form, notified) {
    this.form = form;
    this.note = document.getElementById('alarm-note');
    this.watch = new SilenceWatch(notified);
    const {notify, sound, minutes} = this.load();
    form.elements.notify.checked = notify && canNotify();
    form.elements.sound.checked = sound;
    form.elements.minutes.value = minutes;
    form.addEventListener('change', (event) => this.changed(event.target));
    form.addEventListener('submit', (event) => event.preventDefault());
    // A browser plays no sound before the user has done something on the page.
    addEventListener('pointerdown', () => { if (form.elements.sound.checked) this.openSound(); });
  }

  load() {
    try {
      return {notify: false, sound: false, minutes: 5,
        ...JSON.parse(localStorage.getItem(SETTINGS))};
    } catch {
      return {notify: false, sound: false, minutes: 5};
    }
  }

  async changed(input) {
    const {notify, sound, minutes} = this.form.elements;
    if (input === sound && sound.checked) {
      this.openSound();
      this.beep();
    }
    if (input === notify && notify.checked && !await allowNotifications()) {
      notify.checked = false;
      this.note.textContent = isSecureContext ?
        'This browser does not allow notifications from this page.' :
        'A browser allows notifications only over https or on localhost; the sound works here, too.';
    }
    localStorage.setItem(SETTINGS, JSON.stringify(
      {notify: notify.checked, sound: sound.checked, minutes: minutes.value}));
  }

  openSound() {
    this.audio ??= new AudioContext();
    this.audio.resume();
  }

  beep() {
    if (!this.audio) return;
    for (const [frequency, after] of BEEPS) {
      const tone = new OscillatorNode(this.audio, {frequency});
      tone.connect(this.audio.destination);
      tone.start(this.audio.currentTime + after);
      tone.stop(this.audio.currentTime + after + BEEP_SECONDS);
    }
  }

  /** `signs` as SilenceWatch.look takes them. */
  look(signs, now) {
    const {notify, sound, minutes} = this.form.elements;
    if (!notify.checked && !sound.checked) return;
    const {silent, back} = this.watch.look(signs, now, Math.max(1, Number(minutes.value)) * MINUTE);
    if (!silent.length && !back.length) return;
    const text = [silent.length ? `No data for ${minutes.value} min: ${silent.join(', ')}` : '',
      back.length ? `Data are back: ${back.join(', ')}` : ''].filter(Boolean).join('. ');
    if (notify.checked) new Notification(text, {tag: text});
    if (sound.checked && silent.length) this.beep();
    this.note.textContent = `Last notification: ${text}`;
  }
}

function canNotify() {
  return 'Notification' in window && Notification.permission === 'granted';
}

async function allowNotifications() {
  return 'Notification' in window && await Notification.requestPermission() === 'granted';
}
