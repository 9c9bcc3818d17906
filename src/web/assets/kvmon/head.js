// The element <tr450-client>: the console of kvmon in a page.
//
//   <script src="http://127.0.0.1:8450/kvmon.js?token=TOKEN"></script>
//   <tr450-client ServerIP="192.0.2.10" ServerPort="80" AuthData="..." AutoStart="1"></tr450-client>
//
// Properties give at once what the control has; methods answer by promises; events are
// DOM events of the told names, whose `detail` is the array of arguments.
(() => {
  'use strict';

  const script = document.currentScript;
  const scriptUrl = new URL(script ? script.src : location.href, location.href);

