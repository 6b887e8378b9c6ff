// Whether to notify that data stopped, and that they are back.

/** Remembers what was notified, so that nothing is notified twice. */
export class SilenceWatch {
  /** `notified` are the names that were silent before the page was loaded again. */
  constructor(notified = []) {
    this.notified = new Set(notified);
  }

  /**
   * Takes {name, heardAt, since} for each that can be judged now: the last sign of life, null if
   * there was none, and when listening began, in milliseconds. Returns {silent, back}: the names
   * that have just been silent for `limit`, and those that were and are not any more.
   */
  look(signs, now, limit) {
    const news = {silent: [], back: []};
    for (const {name, heardAt, since} of signs) {
      const isSilent = now - (heardAt ?? since) >= limit;
      if (isSilent && !this.notified.has(name)) {
        this.notified.add(name);
        news.silent.push(name);
      } else if (!isSilent && heardAt !== null && this.notified.delete(name)) {
        news.back.push(name);
      }
    }
    return news;
  }
}
