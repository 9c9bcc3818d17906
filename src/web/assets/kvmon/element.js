  // --- the element

  const FROM_HOST = {frame: 1, cursor: 2, sound: 3, record: 4, display: 5, clipboard: 6, textWanted: 7,
    fullScreen: 8, words: 9, keys: 10, edges: 11, picture: 12};
  // The host tells them in the console's language.
  const WORDS = ['The connection to the console is lost. Connecting again...',
    'The console cannot be reached. Still trying...', 'Monitoring console', '', ''];
  const WORD = {broken: 0, notReached: 1, label: 2, status: 3, focus: 4};
  const LOOK = {any: 0, dark: 1, light: 2, contrast: 3};
  const LOOK_QUERIES = ['(prefers-color-scheme: dark)', '(prefers-contrast: more)', '(forced-colors: active)'];
  const MIN_WIDTH = 1000;
  const MIN_HEIGHT = 680;
  const MAX_SIDE = 4096;
  const MAX_RATIO = 4;
  const SIZE_PAUSE_MS = 100;
  const FIRST_RETRY_MS = 500;
  const LAST_RETRY_MS = 10000;
  const MOST_EARLY_CALLS = 64;

  const STYLE = `
    :host { display: inline-block; position: relative; width: 1000px; height: 680px; overflow: auto;
      background: #000; }
    :host([hidden]) { display: none; }
    canvas { display: block; touch-action: none; user-select: none; -webkit-user-select: none;
      -webkit-touch-callout: none; }
    canvas.lost { opacity: 0.3; filter: grayscale(1); }
    textarea { position: absolute; left: 0; top: 0; width: 1px; height: 1em; padding: 0; border: 0; margin: 0;
      opacity: 0; outline: none; resize: none; overflow: hidden; pointer-events: none; }
    p { position: absolute; left: 50%; top: 50%; transform: translate(-50%, -50%); width: max-content;
      max-width: 80%; margin: 0; padding: 14px 22px; border-radius: 6px; background: #000c; text-align: center;
      color: #fff; font: 16px sans-serif; pointer-events: none; }
    p:empty { display: none; }
    p.heard { left: 0; top: 0; transform: none; padding: 0; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%);
      white-space: nowrap; }`;

  class TR450Client extends HTMLElement {
    static formAssociated = true;  // found by its name in the form around it, as an object is
    static get observedAttributes() { return Object.keys(PROPERTIES).map((name) => name.toLowerCase()); }

    constructor() {
      super();
      this.values = {...DEFAULTS};
      this.given = new Map();  // by the page, or chosen by its user: what the next session starts with
      this.told = {};          // by the session: what the control has
      this.puts = {};          // under way
      this.handlers = {};
      this.words = [...WORDS];
      this.connection = null;
      this.early = [];  // calls before the first session
      this.lastLogin = null;
      this.tries = 0;
      this.frames = this.tiles = this.sounds = 0;
      const root = this.attachShadow({mode: 'open', delegatesFocus: true});
      const sheet = new CSSStyleSheet();
      sheet.replaceSync(STYLE);
      root.adoptedStyleSheets = [sheet];
      this.canvas = document.createElement('canvas');
      this.field = document.createElement('textarea');
      Object.assign(this.field, {autocomplete: 'off', autocapitalize: 'off', spellcheck: false, inputMode: 'none'});
      this.notice = document.createElement('p');
      this.notice.setAttribute('role', 'status');
      // What the console's status line says, for those who do not see it.
      this.status = document.createElement('p');
      this.status.className = 'heard';
      this.status.setAttribute('role', 'status');
      root.append(this.canvas, this.field, this.status, this.notice);
      // A page's own attributes come before these.
      this.internals = this.attachInternals();
      this.internals.role = 'application';
      this.showWords();
      this.picture = new Picture(this.canvas);
      this.speaker = new Speaker();
      this.recorder = new Recorder((samples) => this.sendRecorded(samples), (reason) => this.loseMicrophone(reason));
      this.input = new Input(this, this.canvas, this.field, (view) => this.send(view), () => this.speaker.wake());
      this.surroundings = new Surroundings(this);
      this.addEventListener('fullscreenchange', () => this.onFullScreenChange());
      this.addEventListener('contextmenu', (event) => event.preventDefault());
      this.onParsed = () => { if (this.isConnected) this.connect(); };
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
      this.wishes = LOOK_QUERIES.map((query) => matchMedia(query));
      this.wishes.forEach((wish) => { wish.onchange = () => this.sendLook(); });
      document.addEventListener('visibilitychange', this.onPageChange);
      window.addEventListener('online', this.onNetwork);
      window.addEventListener('pagehide', this.onLeave);
      this.input.watchPage();
      // Scripts behind the element set properties, call members and listen: the session starts with all of it.
      if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', this.onParsed, {once: true});
      else this.connect();
    }

    disconnectedCallback() {
      if (!this.sizes) return;
      this.sizes.disconnect();
      this.views.disconnect();
      this.ratios.onchange = null;
      this.wishes.forEach((wish) => { wish.onchange = null; });
      this.sizes = null;
      document.removeEventListener('visibilitychange', this.onPageChange);
      window.removeEventListener('online', this.onNetwork);
      window.removeEventListener('pagehide', this.onLeave);
      document.removeEventListener('DOMContentLoaded', this.onParsed);
      this.input.leavePage();
      this.onLeave();
      clearTimeout(this.retry);
      if (this.connection) this.connection.close();
      this.connection = null;
      this.isOpen = false;
      this.forgetSession();
      this.lastLogin = null;
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
      if (this.connection) return;
      const base = new URL(this.getAttribute('host') || scriptUrl.href, location.href);
      const url = new URL('/control', base);
      url.protocol = base.protocol === 'https:' ? 'wss:' : 'ws:';
      const token = this.getAttribute('token') || base.searchParams.get('token') || '';
      url.search = new URLSearchParams({token}).toString();
      this.connection = new Connection(url, this);
      for (const name of Object.keys(PROPERTIES)) if (this.given.has(name)) this.put(name, this.given.get(name));
      for (const call of this.early.splice(0)) this.connection.carryOut(call);
    }

    onOpen() {
      this.isOpen = true;
      this.canvas.classList.remove('lost');
      this.notice.textContent = '';
      this.sentVisible = true;
      this.sendVisible();
      this.sendLook();
      this.sendSize();
      if (this.lastLogin) this.connection.call(...this.lastLogin).catch((error) => console.warn(error.message));
    }

    // The first tells all of them, and that there is a session.
    onProperties(pairs) {
      const starts = Object.keys(this.told).length === 0;
      for (let i = 0; i + 1 < pairs.length; i += 2) {
        this.told[pairs[i]] = pairs[i + 1];
        this.takeTold(pairs[i]);
      }
      if (starts) this.dispatchEvent(new CustomEvent('sessionstart'));
    }

    // What the page has put and the control has not answered yet, stands.
    takeTold(name) {
      if (!this.puts[name] && name in this.told) this.values[name] = this.told[name];
    }

    // A picture that stands still must not look like one that lives.
    onEnd(unsent) {
      const hadSession = this.isOpen;
      this.isOpen = false;
      this.early.push(...unsent.filter(({method}) => !method.startsWith('put.')));
      this.connection = null;
      // What is dragged would stand over the last picture.
      if (this.input.held.size > 0) this.picture.clear();
      this.forgetSession();
      this.onLeave();
      this.speaker.close();
      this.recorder.stop();
      this.setFullScreen(false);
      this.canvas.classList.add('lost');
      this.canvas.style.cursor = '';
      this.notice.textContent = this.words[hadSession ? WORD.broken : WORD.notReached];
      this.words[WORD.status] = this.words[WORD.focus] = '';
      this.showWords();
      const pause = Math.min(LAST_RETRY_MS, FIRST_RETRY_MS * 2 ** this.tries++);
      this.retry = setTimeout(() => this.connect(), pause);
      if (hadSession) this.dispatchEvent(new CustomEvent('sessionend'));
    }

    forgetSession() {
      this.told = {};
      this.puts = {};
      this.input.forget();
    }

    retryNow() {
      if (this.connection) return;
      clearTimeout(this.retry);
      this.connect();
    }

    onNotification(name, params) {
      if (name === 'browser') this.onBrowser(...params);
      if (name === 'properties') this.onProperties(params);
      if (name === 'OnLogout' || name === 'loginend') this.lastLogin = null;
      if (name === 'loginend') this.dispatchEvent(new CustomEvent(name));
      if (name === 'playbackshare') {
        const [share, result, path, words] = params;
        this.dispatchEvent(new CustomEvent(name, {detail: {share, result, path, words}}));
      }
      if (!EVENTS.includes(name)) return;
      if (name === 'OnChgLanguage') this.keepLanguage(String(params[0]));
      this.dispatchEvent(new CustomEvent(name, {detail: params}));
      for (const handler of this.handlers[name] || []) {
        try {
          handler.apply(this, params);
        } catch (error) {
          reportError(error);  // the others run all the same
        }
      }
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
          if (view.getUint8(1)) this.recorder.start();
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
          this.showWords();
          break;
        case FROM_HOST.keys:
          this.input.setKeys(text(1).split('\n'));
          break;
        case FROM_HOST.edges:
          this.input.edges = view.getUint8(1);
          break;
        case FROM_HOST.picture:
          this.onPicture(view);
          break;
      }
    }

    onPicture(view) {
      const start = 4 + view.getUint16(2, true);
      const name = new TextDecoder().decode(new Uint8Array(view.buffer, 4, start - 4));
      const file = new File([new Uint8Array(view.buffer, start)], name,
        {type: name.endsWith('.bmp') ? 'image/bmp' : 'image/jpeg'});
      const use = view.getUint8(1) === 1 ? 'copy' : 'save';
      const event = new CustomEvent('picture', {detail: {file, use}, cancelable: true});
      if (this.dispatchEvent(event)) this.surroundings.takePicture(file, use);
    }

    // A live text speaks up with each change, and for no other reason.
    showWords() {
      const set = (node, key, text) => { if (node[key] !== text) node[key] = text; };
      set(this.internals, 'ariaLabel', this.words[WORD.label]);
      set(this.field, 'ariaLabel', this.words[WORD.focus] || this.words[WORD.label]);
      set(this.status, 'textContent', this.words[WORD.status]);
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

    // Nobody is heard: the console ends the talk.
    loseMicrophone(reason) {
      console.warn(`microphone: ${reason}`);
      this.send(message(TO_HOST.noMicrophone, 0));
    }

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

    // Strong contrast is for whoever wants it; the rest goes by what the page has its element look like.
    look() {
      const [dark, ...strong] = this.wishes.map((wish) => wish.matches);
      if (strong.includes(true)) return LOOK.contrast;
      const schemes = getComputedStyle(this).colorScheme.split(' ');
      if (schemes.includes('light') && !(schemes.includes('dark') && dark)) return LOOK.light;
      return schemes.includes('dark') ? LOOK.dark : LOOK.any;
    }

    sendLook() {
      const view = message(TO_HOST.look, 1);
      view.setUint8(1, this.look());
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
      this.given.set('Language', number);
    }

    put(name, value) {
      const {connection} = this;
      this.puts[name] = (this.puts[name] || 0) + 1;
      connection.call(`put.${name}`, [value]).catch((error) => console.warn(`${name}: ${error.message}`)).then(() => {
        if (connection !== this.connection) return;
        --this.puts[name];
        this.takeTold(name);
      });
    }

    call(method, params) {
      if (this.connection) return this.connection.call(method, params);
      if (this.tries > 0 || this.early.length >= MOST_EARLY_CALLS) return Promise.reject(new Error('there is no session'));
      return new Promise((resolve, reject) => this.early.push({method, params, resolve, reject}));
    }

    attachEvent(name, handler) {
      const event = eventOf(name);
      if (event) (this.handlers[event] = this.handlers[event] || []).push(handler);
      return event !== undefined;
    }

    detachEvent(name, handler) {
      const event = eventOf(name);
      if (event) this.handlers[event] = (this.handlers[event] || []).filter((known) => known !== handler);
    }

    // As scripts ask an object for its control, and whether that is there.
    get object() { return this; }
    get readyState() { return 4; }

    // To where the keyboard was, whoever asks.
    focus(options) { this.field.focus(options); }
  }

