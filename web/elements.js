"use strict";

// Elements of pages.

function element(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  made.append(...children);
  return made;
}

function button(text, name, act) {
  const made = element("button", { type: "button", "data-name": name }, text);
  made.addEventListener("click", () => act(made));
  return made;
}

/** A button that stays pressed until it is pressed again. */
function toggle(text, name, pressed, act) {
  const made = button(text, name, () => {
    const now = made.getAttribute("aria-pressed") !== "true";
    made.setAttribute("aria-pressed", now);
    act(now);
  });
  made.setAttribute("aria-pressed", pressed);
  return made;
}
