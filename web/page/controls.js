"use strict";

/** New contents for a place; focus, caret and what was unfolded stay. */
function refill(place, ...children) {
  const active = document.activeElement;
  const name = place.contains(active) ? active.getAttribute("data-name") : null;
  const caret = name && active.selectionStart !== undefined && active.type === "text"
    ? [active.selectionStart, active.selectionEnd, active.value]
    : null;
  const unfolded =
    new Map([...place.querySelectorAll("details[data-keep]")].map((one) => [one.dataset.keep, one.open]));
  place.replaceChildren(...children.filter((child) => child !== "" && child !== null && child !== undefined));
  for (const one of place.querySelectorAll("details[data-keep]")) {
    if (unfolded.has(one.dataset.keep)) one.open = unfolded.get(one.dataset.keep);
  }
  if (!name) return;
  const again = [...place.querySelectorAll("[data-name]")].find((one) => one.getAttribute("data-name") === name);
  if (!again) return;
  again.focus({ preventScroll: true });
  if (caret && again.setSelectionRange) {
    if (caret[2].trim() !== again.value && !caret[2].includes(",")) again.value = caret[2]; // what was typed since
    again.setSelectionRange(caret[0], caret[1]);
  }
}

/** Controls made from what the tool says of its options. */
const Controls = {
  forOption(option, value, act) {
    const name = `option${option.name}`;
    const label = option.name.replace(/^--/, "").replaceAll("-", " ");
    const words = label.charAt(0).toUpperCase() + label.slice(1);
    const free = option.type.split("|");
    if (option.type === "") {
      const box = node(
        "input", { type: "checkbox", checked: value === true, "data-name": name, onchange: () => act(box.checked) });
      return node("label", { class: "field check", "data-option": option.name }, box, node("span", {}, words),
        node("small", {}, option.help));
    }
    const isChoice = option.words.length > 1 && free.every((word) => word === word.toLowerCase());
    if (isChoice) {
      const usual = option.default ? `as usual: ${option.default}` : "as usual";
      return field(words, choice([["", usual], ...option.words.map((word) => [word, word])], value || "", name, act),
        { hint: option.help, option: option.name });
    }
    const list = option.suggestions.length > 0 ? `list${option.name}` : null;
    const control = typed(
      value || "", name, (text) => act(text.trim()), { placeholder: String(option.default ?? option.type), list });
    const made = field(words, control, { hint: option.help, option: option.name });
    if (list)
      made.append(node("datalist", { id: list }, ...option.suggestions.map((one) => node("option", { value: one }))));
    return made;
  },
};
