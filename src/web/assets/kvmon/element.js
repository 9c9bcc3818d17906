  // --- the element

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

  const FROM_HOST = {frame: 1, cursor: 2, sound: 3, record: 4, display: 5, clipboard: 6, textWanted: 7,
    fullScreen: 8, words: 9};
  // The host tells them in the console's language.
  const WORDS = ['The connection to the console is lost. Connecting again...',
    'The console cannot be reached. Still trying...'];
  const MIN_WIDTH = 1000;
  const MIN_HEIGHT = 680;
  const MAX_SIDE = 4096;
  const MAX_RATIO = 4;
  const SIZE_PAUSE_MS = 100;
  const FIRST_RETRY_MS = 500;
  const LAST_RETRY_MS = 10000;

  const STYLE = `
    :host { display: inline-block; position: relative; width: 1000px; height: 680px; overflow: auto;
      background: #000; }
    :host([hidden]) { display: none; }
    canvas { display: block; touch-action: none; user-select: none; -webkit-user-select: none; }
    canvas.lost { opacity: 0.3; filter: grayscale(1); }
    textarea { position: absolute; left: 0; top: 0; width: 1px; height: 1em; padding: 0; border: 0; margin: 0;
      opacity: 0; outline: none; resize: none; overflow: hidden; pointer-events: none; }
    p { position: absolute; inset: 0; margin: 0; display: flex; align-items: center; justify-content: center;
      text-align: center; color: #fff; font: 16px sans-serif; pointer-events: none; text-shadow: 0 0 4px #000; }
    p:empty { display: none; }`;

  class TR450Client extends HTMLElement {
    static get observedAttributes() { return Object.keys(PROPERTIES).map((name) => name.toLowerCase()); }

    constructor() {
      super();
      this.values = {...DEFAULTS};
      this.given = new Set();
      this.handlers = {};
      this.words = [...WORDS];
      this.connection = null;
      this.login = null;
      this.tries = 0;
      this.frames = this.tiles = this.sounds = 0;
      const root = this.attachShadow({mode: 'open', delegatesFocus: true});
      const sheet = new CSSStyleSheet();
      sheet.replaceSync(STYLE);
      root.adoptedStyleSheets = [sheet];
      this.canvas = document.createElement('canvas');
      this.field = document.createElement('textarea');
      Object.assign(this.field, {autocomplete: 'off', autocapitalize: 'off', spellcheck: false, inputMode: 'none'});
      this.field.setAttribute('aria-label', 'console');
      this.notice = document.createElement('p');
      this.notice.setAttribute('role', 'status');
      root.append(this.canvas, this.field, this.notice);
      this.picture = new Picture(this.canvas);
      this.speaker = new Speaker();
      this.recorder = new Recorder((samples) => this.sendRecorded(samples));
      this.input = new Input(this, this.canvas, this.field, (view) => this.send(view), () => this.speaker.wake());
      this.surroundings = new Surroundings(this);
      this.addEventListener('fullscreenchange', () => this.onFullScreenChange());
      this.onPageChange = () => this.sendVisible();
      this.onNetwork = () => this.retryNow();
      this.onLeave = () => this.surroundings.closeHelp();
    }

    // --- life

    connectedCallback() {
      if (this.sizes) return;
      this.takeParams();
      this.sizes = new ResizeObserver(() => this.onSize());
      this.sizes.observe(this);
      this.watchRatio();
      this.inView = true;
      this.views = new IntersectionObserver((entries) => {
        this.inView = entries.at(-1).isIntersecting;
        this.sendVisible();
      });
      this.views.observe(this);
      document.addEventListener('visibilitychange', this.onPageChange);
      window.addEventListener('online', this.onNetwork);
      window.addEventListener('pagehide', this.onLeave);
      this.connect();
    }

    disconnectedCallback() {
      if (!this.sizes) return;
      this.sizes.disconnect();
      this.views.disconnect();
      this.ratios.onchange = null;
      this.sizes = null;
      document.removeEventListener('visibilitychange', this.onPageChange);
      window.removeEventListener('online', this.onNetwork);
      window.removeEventListener('pagehide', this.onLeave);
      this.onLeave();
      clearTimeout(this.retry);
      if (this.connection) this.connection.close();
      this.connection = null;
      this.login = null;
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

    // --- connection

    connect() {
      const base = new URL(this.getAttribute('host') || scriptUrl.href, location.href);
      const url = new URL('/control', base);
      url.protocol = base.protocol === 'https:' ? 'wss:' : 'ws:';
      const token = this.getAttribute('token') || base.searchParams.get('token') || '';
      url.search = new URLSearchParams({token}).toString();
      this.connection = new Connection(url, this);
      for (const name of Object.keys(PROPERTIES)) if (this.given.has(name)) this.put(name);
    }

    onOpen() {
      this.isOpen = true;
      this.canvas.classList.remove('lost');
      this.notice.textContent = '';
      this.sentVisible = true;
      this.sendVisible();
      this.sendSize();
      if (this.login) this.connection.call(...this.login).catch((error) => console.warn(error.message));
      this.dispatchEvent(new CustomEvent('sessionstart'));
    }

    // A picture that stands still must not look like one that lives.
    onEnd() {
      const hadSession = this.isOpen;
      this.isOpen = false;
      this.connection = null;
      this.onLeave();
      this.speaker.close();
      this.recorder.stop();
      this.setFullScreen(false);
      this.canvas.classList.add('lost');
      this.notice.textContent = this.words[hadSession ? 0 : 1];
      const pause = Math.min(LAST_RETRY_MS, FIRST_RETRY_MS * 2 ** this.tries++);
      this.retry = setTimeout(() => this.connect(), pause);
      if (hadSession) this.dispatchEvent(new CustomEvent('sessionend'));
    }

    retryNow() {
      if (this.connection) return;
      clearTimeout(this.retry);
      this.connect();
    }

    onNotification(name, params) {
      if (name === 'browser') this.onBrowser(...params);
      if (!EVENTS.includes(name)) return;
      if (name === 'OnChgLanguage') this.keepLanguage(String(params[0]));
      if (name === 'OnLogout') this.login = null;
      this.dispatchEvent(new CustomEvent(name, {detail: params}));
      for (const handler of this.handlers[name] || []) handler.apply(this, params);
    }

    // The page around it may do it in its own way, and then prevents the default.
    onBrowser(name, value) {
      const event = new CustomEvent('browsercommand', {detail: {name, value}, cancelable: true});
      if (this.dispatchEvent(event)) this.surroundings.perform(name, value);
    }

    onBinary(view) {
      const text = (from) => new TextDecoder().decode(new Uint8Array(view.buffer, view.byteOffset + from));
      switch (view.getUint8(0)) {
        case FROM_HOST.frame:
          this.picture.draw(view, (number, tiles) => this.onDrawn(number, tiles));
          break;
        case FROM_HOST.cursor:
          this.picture.setCursor(view);
          break;
        case FROM_HOST.sound:
          ++this.sounds;
          this.speaker.play(view);
          break;
        case FROM_HOST.record:
          // Without a microphone, or the user's leave, nothing is said, and the console ends the talk.
          if (view.getUint8(1)) this.recorder.start().catch((error) => console.warn(`microphone: ${error.message}`));
          else this.recorder.stop();
          break;
        case FROM_HOST.display:
          this.picture.setDisplay(view);
          break;
        case FROM_HOST.clipboard:
          this.input.copy(text(1));
          break;
        case FROM_HOST.textWanted:
          this.input.setTextWanted(view.getUint8(1) !== 0);
          break;
        case FROM_HOST.fullScreen:
          this.setFullScreen(view.getUint8(1) !== 0);
          break;
        case FROM_HOST.words:
          if (view.getUint8(1) < this.words.length) this.words[view.getUint8(1)] = text(2);
          break;
      }
    }

    onDrawn(number, tiles) {
      const answer = message(TO_HOST.drawn, 4);
      answer.setUint32(1, number, true);
      this.send(answer);
      this.tries = 0;
      ++this.frames;
      this.tiles += tiles;
    }

    send(view) { if (this.connection) this.connection.send(view.buffer); }

    sendRecorded(samples) {
      const view = message(TO_HOST.recorded, 2 * samples.length);
      samples.forEach((sample, i) => view.setInt16(1 + 2 * i, sample, true));
      this.send(view);
    }

    // --- size, zoom, visibility

    // A moved edge gives many sizes; the console is laid out for some of them and the last.
    onSize() {
      if (this.sizeWaits) return;
      const pause = Math.max(0, (this.sizeSent || 0) + SIZE_PAUSE_MS - performance.now());
      this.sizeWaits = setTimeout(() => this.sendSize(), pause);
    }

    // The page's zoom, or another screen.
    watchRatio() {
      this.ratios = matchMedia(`(resolution: ${devicePixelRatio}dppx)`);
      this.ratios.onchange = () => {
        this.ratios.onchange = null;
        this.watchRatio();
        this.sendSize();
      };
    }

    sendSize() {
      clearTimeout(this.sizeWaits);
      this.sizeWaits = 0;
      this.sizeSent = performance.now();
      if (!this.sizes || this.clientWidth === 0 || this.clientHeight === 0) return;
      const width = Math.max(MIN_WIDTH, this.clientWidth);
      const height = Math.max(MIN_HEIGHT, this.clientHeight);
      const ratio = Math.max(1, Math.min(devicePixelRatio, MAX_RATIO, MAX_SIDE / width, MAX_SIDE / height));
      const view = message(TO_HOST.size, 6);
      view.setUint16(1, Math.min(MAX_SIDE, Math.floor(width * ratio)), true);
      view.setUint16(3, Math.min(MAX_SIDE, Math.floor(height * ratio)), true);
      view.setUint16(5, Math.round(ratio * 100), true);
      this.send(view);
    }

    // Nothing is drawn for nobody.
    sendVisible() {
      const visible = document.visibilityState === 'visible' && this.inView;
      if (!this.connection || visible === this.sentVisible) return;
      this.sentVisible = visible;
      const view = message(TO_HOST.visible, 1);
      view.setUint8(1, visible ? 1 : 0);
      this.send(view);
    }

    // --- full screen: the console's is the screen's, as far as the browser lets it

    setFullScreen(on) {
      this.wantsFullScreen = on;
      const is = this.isFullScreen();
      if (on && !is && this.requestFullscreen) this.requestFullscreen().catch(() => {});
      else if (!on && is) document.exitFullscreen().catch(() => {});
    }

    isFullScreen() { return this.getRootNode().fullscreenElement === this; }

    // The user has left it by the browser's own key, which the console does not get.
    onFullScreenChange() {
      if (!this.isFullScreen() && this.wantsFullScreen) this.input.strike('Escape');
    }

    // --- members

    keepLanguage(number) {
      this.values.Language = number;
      this.given.add('Language');
    }

    put(name) {
      const call = this.connection.call(`put.${name}`, [this.values[name]]);
      call.catch((error) => console.warn(`${name}: ${error.message}`));
      return call;
    }

    call(name, parameters) {
      if (!this.connection) return Promise.reject(new Error('there is no session'));
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

  // What a member's call means for the sessions that follow when the connection breaks.
  const AFTER_CALL = {
    Login: (element, parameters) => { element.login = ['Login', parameters]; },
    AutoLogin: (element, parameters) => { element.login = ['AutoLogin', parameters]; },
    Logout: (element) => { element.login = null; },
    SetLanguage: (element, [number], result) => { if (result === 1) element.keepLanguage(String(number)); },
  };

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
      if (AFTER_CALL[name]) result.then((value) => AFTER_CALL[name](this, parameters, value), () => {});
      return result;
    };
  }

  customElements.define('tr450-client', TR450Client);

