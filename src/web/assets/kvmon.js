// The element <tr450-client>: the console of kvmon in a page.
//
//   <script src="http://127.0.0.1:8450/kvmon.js?token=TOKEN"></script>
//   <tr450-client ServerIP="192.0.2.10" ServerPort="80" AuthData="..." AutoStart="1"></tr450-client>
//
// Properties read at once what the page or the console last gave them; methods answer by promises; events are
// DOM events of the told names, whose `detail` is the array of arguments.
(() => {
  'use strict';

  const script = document.currentScript;
  const scriptUrl = new URL(script ? script.src : location.href, location.href);

  // Persisted properties, in the order in which they are handed over.
  const PROPERTIES = {
    ServerIP: String, ServerPort: Number, AutoStart: Number, DefServerName: String, HelpPath: String,
    AuthData: String, Language: String,
  };
  const METHODS = ['Login', 'Logout', 'Command', 'SetLanguage', 'GetLanguage', 'CheckCamera', 'AutoLogin',
    'PreparePlaybackData', 'UnpreparePlaybackData', 'TestEMap', 'IELogout'];
  const EVENTS = ['OnLogout', 'OnNeedGetNewVersion', 'OnLogin', 'OnChgLanguage', 'OnGotoPage',
    'OnSetManualRecording', 'OnGotoServer'];
  const DEFAULTS = {
    ServerIP: '127.0.0.1', ServerPort: 80, AutoStart: 0, DefServerName: '', HelpPath: '', AuthData: '',
    Language: '0',
  };

  // Binary messages; see the table of numbers in docs/web.md.
  const TO_HOST = {size: 1, move: 2, button: 3, wheel: 4, key: 5, leave: 6, focus: 7, drawn: 8, recorded: 9};
  const FROM_HOST = {frame: 1, cursor: 2, sound: 3, record: 4};
  const MICROPHONE_RATE = 8000;
  const MIN_WIDTH = 1000;
  const MIN_HEIGHT = 680;

  // Keys that the console wants for itself; the browser does not act on them.
  const CONSOLE_KEYS = new Set(['Backspace', 'Tab', 'Enter', 'Escape', 'End', 'Home', 'ArrowLeft', 'ArrowUp',
    'ArrowRight', 'ArrowDown', 'Delete', 'PageUp', 'PageDown']);

  const STYLE = `
    :host { display: inline-block; position: relative; width: 1000px; height: 680px; overflow: auto;
      background: #000; }
    :host([hidden]) { display: none; }
    canvas { display: block; outline: none; }
    p { position: absolute; inset: 0; margin: 0; display: flex; align-items: center; justify-content: center;
      color: #fff; font: 14px sans-serif; pointer-events: none; }
    p:empty { display: none; }`;

  class Connection {
    constructor(url, owner) {
      this.owner = owner;
      this.calls = new Map();
      this.nextId = 1;
      this.waiting = [];
      this.socket = new WebSocket(url);
      this.socket.binaryType = 'arraybuffer';
      this.socket.onopen = () => {
        for (const message of this.waiting.splice(0)) this.socket.send(message);
        owner.onOpen();
      };
      this.socket.onmessage = (event) => this.receive(event.data);
      this.socket.onclose = () => this.end();
    }

    send(message) {
      if (this.socket.readyState === WebSocket.OPEN) this.socket.send(message);
      else if (this.socket.readyState === WebSocket.CONNECTING) this.waiting.push(message);
    }

    call(method, params) {
      if (this.socket.readyState > WebSocket.OPEN) return Promise.reject(new Error('the session has ended'));
      const id = this.nextId++;
      this.send(JSON.stringify({jsonrpc: '2.0', id, method, params}));
      return new Promise((resolve, reject) => this.calls.set(id, {resolve, reject}));
    }

    receive(data) {
      if (typeof data !== 'string') {
        this.owner.onBinary(new DataView(data));
        return;
      }
      const message = JSON.parse(data);
      if ('method' in message) {
        this.owner.onNotification(message.method, message.params);
        return;
      }
      const call = this.calls.get(message.id);
      this.calls.delete(message.id);
      if (!call) return;
      if (message.error) call.reject(Object.assign(new Error(message.error.message), {code: message.error.code}));
      else call.resolve(message.result);
    }

    end() {
      for (const call of this.calls.values()) call.reject(new Error('the session has ended'));
      this.calls.clear();
      this.owner.onEnd();
    }

    close() {
      this.socket.onclose = null;
      this.socket.onmessage = null;
      this.socket.close();
      for (const call of this.calls.values()) call.reject(new Error('the session has ended'));
    }
  }

  // Plays blocks of sound one behind the other. Browsers keep silent until the user has touched the page.
  class Speaker {
    constructor() { this.next = 0; }

    wake() { if (this.audio && this.audio.state === 'suspended') this.audio.resume(); }

    play(view) {
      if (!this.audio && navigator.userActivation && !navigator.userActivation.hasBeenActive) return;
      this.audio = this.audio || new AudioContext();
      if (this.audio.state !== 'running') {
        this.wake();
        return;
      }
      const rate = view.getUint32(1, true);
      const channels = view.getUint8(5);
      const bits = view.getUint8(6);
      const frames = Math.floor((view.byteLength - 7) / (channels * bits / 8));
      const now = this.audio.currentTime;
      if (frames === 0 || this.next > now + 0.6) return;  // too far behind the picture
      const buffer = this.audio.createBuffer(channels, frames, rate);
      for (let channel = 0; channel < channels; ++channel) {
        const data = buffer.getChannelData(channel);
        for (let i = 0; i < frames; ++i) {
          const at = i * channels + channel;
          data[i] = bits === 16 ? view.getInt16(7 + 2 * at, true) / 32768 : (view.getUint8(7 + at) - 128) / 128;
        }
      }
      const source = this.audio.createBufferSource();
      source.buffer = buffer;
      source.connect(this.audio.destination);
      this.next = Math.max(this.next, now + 0.05);
      source.start(this.next);
      this.next += buffer.duration;
    }

    close() { if (this.audio) this.audio.close(); this.audio = null; this.next = 0; }
  }

  // Hands on the sound of the microphone as mono samples of 16 bits, in blocks of a tenth of a second.
  class Recorder {
    constructor(send) { this.send = send; }

    async start() {
      this.wanted = true;
      const stream = await navigator.mediaDevices.getUserMedia({audio: {channelCount: 1, echoCancellation: true}});
      if (!this.wanted) {
        stream.getTracks().forEach((track) => track.stop());
        return;
      }
      this.stream = stream;
      this.audio = new AudioContext({sampleRate: MICROPHONE_RATE});
      const url = URL.createObjectURL(new Blob([`registerProcessor('samples', class extends AudioWorkletProcessor {
        process([input]) { if (input[0]) this.port.postMessage(input[0].slice()); return true; } });`],
      {type: 'text/javascript'}));
      await this.audio.audioWorklet.addModule(url);
      URL.revokeObjectURL(url);
      const node = new AudioWorkletNode(this.audio, 'samples', {numberOfOutputs: 0});
      const block = new Int16Array(MICROPHONE_RATE / 10);
      let filled = 0;
      node.port.onmessage = ({data}) => {
        for (const sample of data) {
          block[filled++] = Math.max(-1, Math.min(1, sample)) * 32767;
          if (filled < block.length) continue;
          filled = 0;
          this.send(block);
        }
      };
      this.audio.createMediaStreamSource(stream).connect(node);
    }

    stop() {
      this.wanted = false;
      if (this.stream) this.stream.getTracks().forEach((track) => track.stop());
      if (this.audio) this.audio.close();
      this.stream = this.audio = null;
    }
  }

  const MIME = {1: 'image/jpeg', 2: 'image/png'};

  // The browser around the console, as far as a page can do what the console or the page's commands want of it.
  class Surroundings {
    constructor(element) { this.element = element; }

    perform(name, value) {
      const operations = {
        quit: () => window.close(),
        windowState: () => this.setState(value),
        showWindow: () => { if (value) window.focus(); },
        fit: () => this.fit(),
        title: () => { document.title = value; },
        titleFromLocation: () => { document.title = location.href; },
        openPage: () => this.openPage(value),
        navigateHelp: () => this.navigateHelp(value),
        showHelp: () => { if (this.help) this.help.focus(); },
        closeHelp: () => this.closeHelp(),
      };
      if (Object.hasOwn(operations, name)) operations[name]();
    }

    // A page has no window to maximize, but a full screen.
    setState(state) {
      const refused = () => {};
      if (state === 1) document.documentElement.requestFullscreen().catch(refused);
      if (state === 0 && document.fullscreenElement) document.exitFullscreen().catch(refused);
    }

    // Browsers do it for windows that a script has opened.
    fit() {
      const {clientWidth, clientHeight} = this.element;
      const dx = Math.max(0, Math.round((window.outerWidth - window.innerWidth) / 2));
      const dy = Math.max(0, window.outerHeight - window.innerHeight - dx);
      window.resizeTo(clientWidth + 4 + 2 * dx, clientHeight + 20 + dy);
      window.moveTo(0, 0);
    }

    isWebPage(url) {
      try {
        return /^https?:$/.test(new URL(url).protocol);
      } catch {
        return false;
      }
    }

    openPage(url) { if (this.isWebPage(url)) window.open(url, '_blank', 'noopener'); }

    // One window for a page of the help. What it shows comes from elsewhere and gets no hold of this page; so
    // some browsers neither send it to another page nor close it from here.
    navigateHelp(url) {
      if (!this.isWebPage(url)) return;
      if (!this.help || this.help.closed || this.helpUrl !== url) {
        this.closeHelp();
        this.helpUrl = url;
        this.help = window.open('about:blank', 'kvmon-help', 'popup,width=1000,height=760');
        if (!this.help) return;
        this.help.opener = null;
      }
      this.help.location.replace(url);
    }

    closeHelp() {
      if (this.help) this.help.close();
      this.help = null;
    }
  }

  class TR450Client extends HTMLElement {
    static get observedAttributes() { return Object.keys(PROPERTIES).map((name) => name.toLowerCase()); }

    constructor() {
      super();
      this.values = {...DEFAULTS};
      this.given = new Set();
      this.handlers = {};
      this.connection = null;
      this.drawing = Promise.resolve();
      this.speaker = new Speaker();
      this.recorder = new Recorder((samples) => this.sendRecorded(samples));
      this.surroundings = new Surroundings(this);
      this.leave = () => this.surroundings.closeHelp();
      const root = this.attachShadow({mode: 'open'});
      const sheet = new CSSStyleSheet();
      sheet.replaceSync(STYLE);
      root.adoptedStyleSheets = [sheet];
      this.canvas = document.createElement('canvas');
      this.canvas.tabIndex = 0;
      this.context = this.canvas.getContext('2d', {alpha: false});
      this.notice = document.createElement('p');
      root.append(this.canvas, this.notice);
      this.listen();
    }

    // --- life

    connectedCallback() {
      if (this.connection) return;
      this.takeParams();
      const base = new URL(this.getAttribute('host') || scriptUrl.href, location.href);
      const url = new URL('/control', base);
      url.protocol = base.protocol === 'https:' ? 'wss:' : 'ws:';
      const token = this.getAttribute('token') || base.searchParams.get('token') || '';
      url.search = new URLSearchParams({token}).toString();
      this.notice.textContent = '';
      this.connection = new Connection(url, this);
      for (const name of Object.keys(PROPERTIES)) if (this.given.has(name)) this.put(name);
      this.sizes = new ResizeObserver(() => this.sendSize());
      this.sizes.observe(this);
      window.addEventListener('pagehide', this.leave);
    }

    disconnectedCallback() {
      if (this.sizes) this.sizes.disconnect();
      window.removeEventListener('pagehide', this.leave);
      this.leave();
      if (this.connection) this.connection.close();
      this.connection = null;
      this.speaker.close();
      this.recorder.stop();
    }

    attributeChangedCallback(attribute, before, value) {
      const name = Object.keys(PROPERTIES).find((candidate) => candidate.toLowerCase() === attribute);
      if (value !== null && value !== before) this[name] = value;
    }

    takeParams() {
      for (const param of this.querySelectorAll('param')) {
        const name = Object.keys(PROPERTIES).find(
            (candidate) => candidate.toLowerCase() === (param.getAttribute('name') || '').toLowerCase());
        if (name) this[name] = param.getAttribute('value') || '';
      }
    }

    // --- what the connection tells

    onOpen() { this.sendSize(); }

    onEnd() {
      this.leave();
      this.speaker.close();
      this.recorder.stop();
      this.notice.textContent = 'The console is not available.';
      this.dispatchEvent(new CustomEvent('sessionend'));
    }

    onNotification(name, params) {
      if (name === 'browser') this.onBrowser(...params);
      if (!EVENTS.includes(name)) return;
      if (name === 'OnChgLanguage') this.values.Language = String(params[0]);
      this.dispatchEvent(new CustomEvent(name, {detail: params}));
      for (const handler of this.handlers[name] || []) handler.apply(this, params);
    }

    // The page around it may do it in its own way, and then prevents the default.
    onBrowser(name, value) {
      const event = new CustomEvent('browsercommand', {detail: {name, value}, cancelable: true});
      if (this.dispatchEvent(event)) this.surroundings.perform(name, value);
    }

    onBinary(view) {
      switch (view.getUint8(0)) {
        case FROM_HOST.frame:
          this.drawing = this.drawing.then(() => this.drawFrame(view)).catch(() => {});
          break;
        case FROM_HOST.cursor:
          this.setCursor(view);
          break;
        case FROM_HOST.sound:
          this.sounds = (this.sounds || 0) + 1;
          this.speaker.play(view);
          break;
        case FROM_HOST.record:
          // Without a microphone, or the user's leave, nothing is said, and the console ends the talk.
          if (view.getUint8(1)) this.recorder.start().catch((error) => console.warn(`microphone: ${error.message}`));
          else this.recorder.stop();
          break;
      }
    }

    async drawFrame(view) {
      const number = view.getUint32(1, true);
      const width = view.getUint16(5, true);
      const height = view.getUint16(7, true);
      const tiles = [];
      for (let at = 9; at + 13 <= view.byteLength;) {
        const length = view.getUint32(at + 9, true);
        const bytes = new Uint8Array(view.buffer, view.byteOffset + at + 13, length);
        const picture = createImageBitmap(new Blob([bytes], {type: MIME[view.getUint8(at + 8)]}));
        tiles.push({x: view.getUint16(at, true), y: view.getUint16(at + 2, true), picture});
        at += 13 + length;
      }
      try {
        const pictures = await Promise.all(tiles.map((tile) => tile.picture));
        if (this.canvas.width !== width || this.canvas.height !== height) {
          this.canvas.width = width;
          this.canvas.height = height;
        }
        pictures.forEach((picture, i) => {
          this.context.drawImage(picture, tiles[i].x, tiles[i].y);
          picture.close();
        });
        this.frames = (this.frames || 0) + 1;
        this.tiles = (this.tiles || 0) + tiles.length;
      } finally {
        const answer = this.message(TO_HOST.drawn, 4);
        answer.setUint32(1, number, true);
        this.send(answer);
      }
    }

    setCursor(view) {
      const text = (from) => new TextDecoder().decode(new Uint8Array(view.buffer, view.byteOffset + from));
      if (view.getUint8(1) === 0) {
        this.canvas.style.cursor = text(2);
        return;
      }
      const bytes = new Uint8Array(view.buffer, view.byteOffset + 6);
      const base64 = btoa(String.fromCharCode(...bytes));
      const spot = `${view.getInt16(2, true)} ${view.getInt16(4, true)}`;
      this.canvas.style.cursor = `url(data:image/png;base64,${base64}) ${spot}, auto`;
    }

    // --- what the page's user does

    message(type, length) {
      const view = new DataView(new ArrayBuffer(1 + length));
      view.setUint8(0, type);
      return view;
    }

    send(view) { if (this.connection) this.connection.send(view.buffer); }

    sendRecorded(samples) {
      const view = this.message(TO_HOST.recorded, 2 * samples.length);
      samples.forEach((sample, i) => view.setInt16(1 + 2 * i, sample, true));
      this.send(view);
    }

    sendSize() {
      if (!this.connection || !this.isConnected || this.clientWidth === 0) return;
      const view = this.message(TO_HOST.size, 4);
      view.setUint16(1, Math.min(4096, Math.max(MIN_WIDTH, this.clientWidth)), true);
      view.setUint16(3, Math.min(4096, Math.max(MIN_HEIGHT, this.clientHeight)), true);
      this.send(view);
    }

    modifiers(event) {
      return (event.shiftKey ? 1 : 0) | (event.ctrlKey ? 2 : 0) | (event.altKey ? 4 : 0) |
          (event.metaKey ? 8 : 0);
    }

    place(view, event) {
      const box = this.canvas.getBoundingClientRect();
      const clamp = (n) => Math.max(-32768, Math.min(32767, Math.round(n)));
      view.setInt16(1, clamp((event.clientX - box.left) * this.canvas.width / box.width), true);
      view.setInt16(3, clamp((event.clientY - box.top) * this.canvas.height / box.height), true);
    }

    listen() {
      const canvas = this.canvas;
      canvas.addEventListener('pointermove', (event) => this.onMove(event));
      canvas.addEventListener('pointerdown', (event) => {
        canvas.focus();
        this.speaker.wake();
        canvas.setPointerCapture(event.pointerId);
      });
      // Mouse events, since a pointer tells only of the first of several buttons.
      canvas.addEventListener('mousedown', (event) => this.onButton(event, 1));
      // Comes here from outside as well, since the pointer is captured.
      canvas.addEventListener('mouseup', (event) => {
        if (this.held && this.held.has(event.button)) this.onButton(event, 0);
      });
      canvas.addEventListener('contextmenu', (event) => event.preventDefault());
      canvas.addEventListener('mouseleave', () => this.send(this.message(TO_HOST.leave, 0)));
      canvas.addEventListener('wheel', (event) => this.onWheel(event), {passive: false});
      canvas.addEventListener('keydown', (event) => this.onKey(event, 1));
      canvas.addEventListener('keyup', (event) => this.onKey(event, 0));
      canvas.addEventListener('focus', () => this.onFocus(1));
      canvas.addEventListener('blur', () => this.onFocus(0));
    }

    onMove(event) {
      this.lastMove = event;
      if (this.moveWaits) return;
      this.moveWaits = true;
      requestAnimationFrame(() => this.sendMove());
    }

    sendMove() {
      if (!this.moveWaits) return;
      this.moveWaits = false;
      const view = this.message(TO_HOST.move, 5);
      this.place(view, this.lastMove);
      view.setUint8(5, this.modifiers(this.lastMove));
      this.send(view);
    }

    onButton(event, down) {
      if (event.button > 2) return;
      event.preventDefault();
      this.sendMove();
      this.held = this.held || new Set();
      if (down) this.held.add(event.button);
      else this.held.delete(event.button);
      const view = this.message(TO_HOST.button, 7);
      this.place(view, event);
      view.setUint8(5, event.button);
      view.setUint8(6, down);
      view.setUint8(7, this.modifiers(event));
      this.send(view);
    }

    onWheel(event) {
      event.preventDefault();
      // One step of a wheel is 120 to the console and about 100 pixels, or 3 lines, to a browser.
      const step = event.deltaMode === 0 ? 1.2 : event.deltaMode === 1 ? 40 : 120;
      const clamp = (n) => Math.max(-32768, Math.min(32767, Math.round(-n * step)));
      const view = this.message(TO_HOST.wheel, 9);
      this.place(view, event);
      view.setInt16(5, clamp(event.deltaX), true);
      view.setInt16(7, clamp(event.deltaY), true);
      view.setUint8(9, this.modifiers(event));
      this.send(view);
    }

    onKey(event, down) {
      const types = event.key.length === 1 && !event.ctrlKey && !event.altKey && !event.metaKey;
      if (types || CONSOLE_KEYS.has(event.key)) event.preventDefault();
      const name = new TextEncoder().encode(event.key);
      const view = this.message(TO_HOST.key, 3 + name.length);
      view.setUint8(1, down);
      view.setUint8(2, event.repeat ? 1 : 0);
      view.setUint8(3, this.modifiers(event));
      new Uint8Array(view.buffer).set(name, 4);
      this.send(view);
    }

    onFocus(has) {
      const view = this.message(TO_HOST.focus, 1);
      view.setUint8(1, has);
      this.send(view);
    }

    // --- members

    put(name) {
      const call = this.connection.call(`put.${name}`, [this.values[name]]);
      call.catch((error) => console.warn(`${name}: ${error.message}`));
      return call;
    }

    call(name, parameters) {
      if (!this.connection) return Promise.reject(new Error('the element is not in a document'));
      return this.connection.call(name, parameters);
    }

    attachEvent(name, handler) {
      (this.handlers[name] = this.handlers[name] || []).push(handler);
      return true;
    }

    detachEvent(name, handler) {
      this.handlers[name] = (this.handlers[name] || []).filter((known) => known !== handler);
    }
  }

  for (const [name, type] of Object.entries(PROPERTIES)) {
    Object.defineProperty(TR450Client.prototype, name, {
      enumerable: true,
      // The control's own reading of this one gives nothing.
      get() { return name === 'DefServerName' ? undefined : this.values[name]; },
      set(value) {
        this.values[name] = type(value);
        this.given.add(name);
        if (this.connection) this.put(name);
      },
    });
  }
  for (const name of METHODS) {
    TR450Client.prototype[name] = function(...parameters) {
      const result = this.call(name, parameters);
      if (name === 'SetLanguage') result.then(async () => this.values.Language = String(await this.GetLanguage()), () => {});
      return result;
    };
  }

  customElements.define('tr450-client', TR450Client);

  // --- pages of the old form

  const isOldForm = (object) => {
    const names = [...object.querySelectorAll('param')].map((param) => (param.name || '').toLowerCase());
    return /^clsid:/i.test(object.getAttribute('classid') || '') &&
        Object.keys(PROPERTIES).some((name) => names.includes(name.toLowerCase()));
  };

  function takeOver(object) {
    const element = document.createElement('tr450-client');
    for (const name of ['id', 'name', 'class', 'style', 'title']) {
      if (object.hasAttribute(name)) element.setAttribute(name, object.getAttribute(name));
    }
    for (const side of ['width', 'height']) {
      const length = object.getAttribute(side);
      if (length && !element.style[side]) element.style[side] = /%$/.test(length) ? length : `${parseInt(length, 10)}px`;
    }
    element.append(...object.querySelectorAll('param'));
    object.replaceWith(element);
    return element;
  }

  // <script for="ID" event="OnLogin(nParam)">: the browser does not run these, so the element does.
  function takeHandlers() {
    for (const handler of document.querySelectorAll('script[for][event]')) {
      const element = document.getElementById(handler.getAttribute('for'));
      const match = /^\s*(\w+)\s*(?:\(([\w\s,]*)\))?\s*$/.exec(handler.getAttribute('event'));
      if (!(element instanceof TR450Client) || !match || !EVENTS.includes(match[1])) continue;
      element.attachEvent(match[1], new Function(match[2] || '', handler.textContent));
    }
  }

  function takeOverPage() {
    for (const object of document.querySelectorAll('object')) if (isOldForm(object)) takeOver(object);
    takeHandlers();
  }
  if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', takeOverPage);
  else takeOverPage();
})();
