// Whether to tell that data stopped, and that they are back.

/** Remembers what was told, so that nothing is told twice. */
export class SilenceWatch {
  /** `told` are the names that were silent before the page was loaded again. */
  constructor(told = []) {
    this.told = new Set(told);
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
      if (isSilent && !this.told.has(name)) {
        this.told.add(name);
        news.silent.push(name);
      } else if (!isSilent && heardAt !== null && this.told.delete(name)) {
        news.back.push(name);
      }
    }
    return news;
  }
}
