"use strict";

window.xemfit.ready.then(
  () => (document.querySelector("output").textContent = "ready"),
  (error) => (document.querySelector("output").textContent = error.message));
