"use strict";

// The charts of a report page, from the figure that it carries.
{
  const figure = JSON.parse(document.getElementById("figure-data").textContent);
  const section = document.getElementById("figure");
  for (const panel of figure.panels) section.append(new Panel(panel, { relative: figure.relative }).element);
}
