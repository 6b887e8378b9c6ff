// What a tab remembers while the page is loaded again.

const KEY = 'sonic page';
const MAX_AGE_MILLISECONDS = 600e3;  // what is older has left the charts

/** What was remembered, or an empty object. */
export function recall() {
  try {
    const memory = JSON.parse(sessionStorage.getItem(KEY));
    const age = Date.now() - memory.savedAt;
    return age >= 0 && age < MAX_AGE_MILLISECONDS ? memory : {};
  } catch {
    return {};
  }
}

/**
 * Remembers {ports, ...} when the page goes. A browser has room for some five million characters a
 * site, three ports at 32 Hz: what does not fit is left out, the ports at the end of the list
 * first.
 */
export function rememberOnLeaving(memory) {
  addEventListener('pagehide', () => {
    const {ports, ...rest} = memory();
    for (let count = ports.length; count >= 0; count = count ? Math.floor(count / 2) : -1) {
      try {
        const text = JSON.stringify({...rest, savedAt: Date.now(), ports: ports.slice(0, count)});
        return sessionStorage.setItem(KEY, text);
      } catch {
        // no room for so many
      }
    }
  });
}
