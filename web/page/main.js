"use strict";

// Puts the rooms together once the engine can compute.
(async () => {
  const at = (id) => document.getElementById(id);
  const head = { undo: button("Undo", "undo", Work.undo), redo: button("Redo", "redo", Work.redo) };
  at("tools").append(head.undo, head.redo, button("Curves and tours", "tours", () => Guide.published()),
    button("Forget", "forget", () => {
      const made = sheet("Forget everything?",
        node("p", {}, "Files, settings and kept fits are taken from this page and from the browser's storage."),
        node("div", { class: "controls" }, button("Forget", "forget-now", () => {
          made.close();
          Guide.forget();
        })));
    }), button("About", "about", () => Guide.about()));

  function render() {
    head.undo.disabled = !Work.canUndo;
    head.redo.disabled = !Work.canRedo;
    DataRoom.render();
    ModelRoom.render();
    ResultRoom.schedule();
  }

  function listen() {
    Work.onChange((what) => {
      if (what === "changed") render();
      if (what === "not stored") {
        at("stored").textContent =
          "this browser cannot keep the work (too large, or not allowed); save it as JSON";
      }
      if (what === "stored") at("stored").textContent = "";
    });
    addEventListener("keydown", (event) => {
      const isTyping =
        /^(input|textarea|select)$/i.test(event.target.tagName ?? "") && event.target.type !== "checkbox";
      if (!(event.ctrlKey || event.metaKey) || event.altKey) return;
      const act = event.key === "Enter" ? ResultRoom.fit
        : isTyping                      ? null
                   : { z: event.shiftKey ? Work.redo : Work.undo, Z: Work.redo, y: Work.redo }[event.key];
      if (!act) return;
      event.preventDefault();
      act();
    });
    DataRoom.listen();
  }

  try {
    await window.xemfit.ready;
    const [models, commands] = await Promise.all([Bench.ask(["models"]), Bench.ask(["list"])]);
    Object.assign(Bench, { catalogue: models.models, commands: commands.commands, version: commands.version });
  } catch (error) {
    at("waiting").textContent = `The page cannot compute here: ${error.message}`;
    announce(`The page cannot compute here: ${error.message}`, true);
    return;
  }
  at("waiting").remove();
  DataRoom.start(at("data"));
  ModelRoom.start(at("model"), at("parameters"));
  Saving.start(at("saving"));
  ResultRoom.start(at("bar"), at("error"), at("body"));
  Work.restore();
  listen();
  render();
  document.body.dataset.ready = "yes";
})();
