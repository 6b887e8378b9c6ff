// Messages and files from elsewhere.

/** The value in a JSON text; null if it is not JSON. */
export function parseJson(text) {
  try {
    return JSON.parse(text);
  } catch {
    return null;
  }
}
