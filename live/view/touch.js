// Fingers on charts: one taps for a value or moves along, two zoom.

const MAX_TAP_PIXELS = 8;

/**
 * Listens on `element`. `onTap(x, y)` gets a place on the screen; `onMove(pixels)` by how much one
 * finger moved to the right; `onPinch(factor)` below 1 if two moved apart. Up and down the browser
 * scrolls the page (touch-action in live.css).
 */
export function listenToFingers(element, {onTap, onMove, onPinch}) {
  const fingers = new Map();  // {x, y} by pointer
  let moved = 0;
  const spread = () => {
    const [a, b] = [...fingers.values()];
    return Math.max(1, Math.hypot(a.x - b.x, a.y - b.y));
  };
  element.addEventListener('pointerdown', (event) => {
    if (event.pointerType !== 'touch') return;
    if (!fingers.size) moved = 0;
    fingers.set(event.pointerId, {x: event.clientX, y: event.clientY});
  });
  element.addEventListener('pointermove', (event) => {
    const finger = fingers.get(event.pointerId);
    if (!finger) return;
    const before = fingers.size === 2 ? spread() : 0;
    const right = event.clientX - finger.x;
    Object.assign(finger, {x: event.clientX, y: event.clientY});
    moved += Math.abs(right);
    if (fingers.size === 2) onPinch(before / spread());
    else if (moved > MAX_TAP_PIXELS) onMove(right);
  });
  const end = (event) => {
    if (!fingers.delete(event.pointerId) || event.type === 'pointercancel') return;
    if (moved <= MAX_TAP_PIXELS) onTap(event.clientX, event.clientY);
  };
  for (const type of ['pointerup', 'pointercancel']) element.addEventListener(type, end);
}
