// The parts of a template that change.

/** The elements under `root` that have this attribute, by its value. */
export function fieldsOf(root, attribute) {
  const found = root.querySelectorAll(`[data-${attribute}]`);
  return Object.fromEntries([...found].map((element) => [element.dataset[attribute], element]));
}

/** Sets a text only if it is another one: a change costs a layout. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

/** A copy of a template's only element. */
export function copyOf(id) {
  return document.getElementById(id).content.firstElementChild.cloneNode(true);
}

/** Appends a new element with these properties, and returns it. */
export function append(parent, name, properties = {}) {
  return parent.appendChild(Object.assign(document.createElement(name), properties));
}
