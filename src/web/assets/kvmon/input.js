  // --- the user's mouse, fingers, keys, text and clipboard

  // Keys that some window of the console wants for itself; the browser does not act on them, nor on those that
  // the host tells.
  const CONSOLE_KEYS = new Set(['Backspace', 'Tab', 'Enter', 'Escape', 'End', 'Home', 'ArrowLeft', 'ArrowUp',
    'ArrowRight', 'ArrowDown', 'Delete', 'PageUp', 'PageDown']);
  // What an input method makes of these comes as text.
  const COMPOSED_KEYS = new Set(['Dead', 'Process', 'Unidentified']);
  const IS_MAC = /^Mac/.test(navigator.platform);  // Command is there what Control is elsewhere
  const MOST_TEXT = 4096;        // bytes
  const MOST_CLIPBOARD = 65536;  // bytes
  const TAP_MS = 300;
  const TAP_WAY = 10;
  const PINCH_WAY = 16;  // less does not part two fingers that rest, or scroll, from two that spread
  const PINCH = {comes: 0, moves: 1, goes: 2, takenAway: 3};

  const TO_HOST = {size: 1, move: 2, button: 3, wheel: 4, key: 5, leave: 6, focus: 7, drawn: 8, recorded: 9,
    visible: 10, text: 11, paste: 12, noMicrophone: 13, look: 14, fingers: 15};
  const MODIFIER_KEYS = new Set(['Shift', 'Control', 'Alt', 'AltGraph', 'Meta', 'CapsLock', 'NumLock']);
  const FROM_BEFORE = 1, FROM_BEHIND = 2;

  function message(type, length) {
    const view = new DataView(new ArrayBuffer(1 + length));
    view.setUint8(0, type);
    return view;
  }

  // Cut at whole characters.
  function textMessage(type, text, most) {
    const bytes = new Uint8Array(most);
    const {written} = new TextEncoder().encodeInto(text, bytes);
    const view = message(type, written);
    new Uint8Array(view.buffer).set(bytes.subarray(0, written), 1);
    return view;
  }

  // Everything that the user does on the canvas. Keys go to a text field that nobody sees, since only there a
  // browser composes letters, pastes, and shows the keyboard of a touch screen.
  class Input {
    constructor(host, canvas, field, send, onTouched) {
      Object.assign(this, {host, canvas, field, send, onTouched});
      this.held = new Set();
      this.fingers = new Map();
      this.forget();
      this.onPageKey = (event) => this.notePageKey(event);
      this.listenToMouse();
      this.listenToKeys();
    }

    // --- mouse

    listenToMouse() {
      const {canvas} = this;
      canvas.addEventListener('pointerdown', (event) => this.onPointerDown(event));
      canvas.addEventListener('pointermove', (event) => this.onPointerMove(event));
      canvas.addEventListener('pointerup', (event) => this.onPointerEnd(event));
      canvas.addEventListener('pointercancel', (event) => this.onPointerEnd(event));
      // Mouse events, since a pointer tells only of the first of several buttons.
      canvas.addEventListener('mousedown', (event) => {
        event.preventDefault();
        this.onButton(event, 1);
      });
      // Comes here from outside as well, since the pointer is captured.
      canvas.addEventListener('mouseup', (event) => this.onButton(event, 0));
      canvas.addEventListener('mouseleave', () => this.send(message(TO_HOST.leave, 0)));
      canvas.addEventListener('wheel', (event) => this.onWheel(event), {passive: false});
    }

    place(view, event, offset = 1) {
      const box = this.canvas.getBoundingClientRect();
      const clamp = (n) => Math.max(-32768, Math.min(32767, Math.floor(n)));
      view.setInt16(offset, clamp((event.clientX - box.left) * this.canvas.width / box.width), true);
      view.setInt16(offset + 2, clamp((event.clientY - box.top) * this.canvas.height / box.height), true);
    }

    modifiers(event) {
      // AltGr, which some systems tell as both of these, makes letters.
      const makesLetters = event.getModifierState && event.getModifierState('AltGraph');
      const control = (event.ctrlKey && !makesLetters) || (IS_MAC && event.metaKey);
      return (event.shiftKey ? 1 : 0) | (control ? 2 : 0) | (event.altKey && !makesLetters ? 4 : 0) |
          (event.metaKey && !IS_MAC ? 8 : 0) | (event.location === KeyboardEvent.DOM_KEY_LOCATION_NUMPAD ? 16 : 0);
    }

    onPointerDown(event) {
      this.onTouched();
      this.focusAt(event);
      if (event.pointerType === 'touch') {
        event.preventDefault();
        this.onFinger(event);
      } else {
        this.canvas.setPointerCapture(event.pointerId);
      }
    }

    onPointerMove(event) {
      if (event.pointerType === 'touch') {
        this.onFingerMoved(event);
        return;
      }
      this.moveTo(event);
    }

    moveTo(event) {
      this.lastMove = event;
      if (this.moveWaits) return;
      this.moveWaits = true;
      requestAnimationFrame(() => this.sendMove());
    }

    sendMove() {
      if (!this.moveWaits) return;
      this.moveWaits = false;
      const view = message(TO_HOST.move, 5);
      this.place(view, this.lastMove);
      view.setUint8(5, this.modifiers(this.lastMove));
      this.send(view);
    }

    onButton(event, down, button = event.button, finger = 0) {
      if (button > 2 || (!down && !this.held.has(button))) return;
      this.sendMove();
      if (down) this.held.add(button);
      else this.held.delete(button);
      const view = message(TO_HOST.button, 8);
      this.place(view, event);
      view.setUint8(5, button);
      view.setUint8(6, down);
      view.setUint8(7, this.modifiers(event));
      view.setUint8(8, finger);
      this.send(view);
    }

    // What is held is let go of where it is, and nothing is dropped.
    giveUp() {
      this.endPinch(PINCH.takenAway);
      this.held.clear();
      this.moveWaits = false;
      this.tellFocus(0);
      if (this.field.matches(':focus')) this.tellFocus(1);
    }

    onWheel(event) {
      if (event.ctrlKey) return;  // the page's zoom
      event.preventDefault();
      // One step of a wheel is 120 to the console and about 100 pixels, or 3 lines, to a browser.
      const step = event.deltaMode === 0 ? 1.2 : event.deltaMode === 1 ? 40 : 120;
      const clamp = (n) => Math.max(-32768, Math.min(32767, Math.round(-n * step)));
      const view = message(TO_HOST.wheel, 9);
      this.place(view, event);
      view.setInt16(5, clamp(event.deltaX), true);
      view.setInt16(7, clamp(event.deltaY), true);
      view.setUint8(9, this.modifiers(event));
      this.send(view);
    }

    // --- fingers: one is the left button, a tap of two the right one, two that move scroll the element, and two that
    // spread or close are the host's. So is what a finger that rests is to do.

    onFingerButton(event, down, button) { this.onButton(event, down, button, 1); }

    onFinger(event) {
      this.fingers.set(event.pointerId, {clientX: event.clientX, clientY: event.clientY});
      this.canvas.setPointerCapture(event.pointerId);
      if (this.fingers.size === 1) {
        this.tap = {first: event, since: event.timeStamp, fingers: 1, moved: false};
        this.onFingerButton(event, 1, 0);
      } else if (this.fingers.size === 2) {
        this.tap.fingers = 2;
        this.onFingerButton(this.tap.first, 0, 0);
        this.tap.apart = this.apart();
        this.tap.put = this.places();
      }
    }

    places() { return [...this.fingers.values()].map((finger) => ({...finger})); }

    apart() {
      const [one, other] = this.places();
      return Math.hypot(one.clientX - other.clientX, one.clientY - other.clientY);
    }

    sendPinch(phase) {
      const view = message(TO_HOST.fingers, 9);
      view.setUint8(1, phase);
      this.pinched.forEach((finger, i) => this.place(view, finger, 2 + 4 * i));
      this.send(view);
    }

    // They come where they were put.
    onPinch() {
      if (this.fingers.size !== 2 || this.tap.fingers !== 2) return;
      const isNew = !this.pinched;
      if (isNew && Math.abs(this.apart() - this.tap.apart) < PINCH_WAY) return;
      if (isNew) {
        this.pinched = this.tap.put;
        this.sendPinch(PINCH.comes);
      }
      this.pinched = this.places();
      this.sendPinch(PINCH.moves);
    }

    endPinch(phase) {
      if (!this.pinched) return;
      this.sendPinch(phase);
      this.pinched = null;
    }

    onFingerMoved(event) {
      const finger = this.fingers.get(event.pointerId);
      if (!finger) return;
      const {first} = this.tap;
      const way = Math.hypot(event.clientX - first.clientX, event.clientY - first.clientY);
      if (this.tap.fingers === 1) {
        this.moveTo(event);
      } else if (!this.pinched) {
        this.host.scrollBy((finger.clientX - event.clientX) / 2, (finger.clientY - event.clientY) / 2);
      }
      if (event.pointerId === first.pointerId && way > TAP_WAY) this.tap.moved = true;
      Object.assign(finger, {clientX: event.clientX, clientY: event.clientY});
      this.onPinch();
    }

    onPointerEnd(event) {
      if (!this.fingers.has(event.pointerId)) return;
      if (this.pinched) this.tap.moved = true;
      this.endPinch(event.type === 'pointercancel' ? PINCH.takenAway : PINCH.goes);
      this.fingers.delete(event.pointerId);
      if (this.fingers.size > 0) return;
      if (event.type === 'pointercancel') this.giveUp();
      else this.onFingerButton(event, 0, 0);
      const {first, since, fingers, moved} = this.tap;
      if (fingers !== 2 || moved || event.type !== 'pointerup' || event.timeStamp - since > TAP_MS) return;
      this.onFingerButton(first, 1, 2);
      this.onFingerButton(first, 0, 2);
    }

    // --- keys and text

    listenToKeys() {
      const {field} = this;
      field.addEventListener('keydown', (event) => this.onKey(event, 1));
      field.addEventListener('keyup', (event) => this.onKey(event, 0));
      field.addEventListener('beforeinput', (event) => this.onBeforeInput(event));
      field.addEventListener('compositionend', (event) => {
        this.sendText(event.data);
        field.value = '';
      });
      field.addEventListener('paste', (event) => {
        event.preventDefault();
        const text = event.clipboardData.getData('text/plain');
        if (text) this.send(textMessage(TO_HOST.paste, text, MOST_CLIPBOARD));
      });
      field.addEventListener('focus', () => this.onFocus(1));
      field.addEventListener('blur', () => this.onFocus(0));
    }

    // --- the Tab key's way in and out

    // Of another session, or none.
    forget() {
      this.held.clear();
      this.pinched = null;
      this.keys = new Set();
      this.edges = 0;
      this.escaped = false;
    }

    setKeys(names) { this.keys = new Set(names); }

    watchPage() { window.addEventListener('keydown', this.onPageKey, true); }
    leavePage() { window.removeEventListener('keydown', this.onPageKey, true); }

    // Which way the keyboard comes, if it comes with this key.
    notePageKey(event) {
      this.way = event.key !== 'Tab' ? 0 : event.shiftKey ? FROM_BEHIND : FROM_BEFORE;
      setTimeout(() => { this.way = 0; });
    }

    // The browser takes the keyboard on: past the console's last control, before its first, and from anywhere
    // behind Escape.
    leavesWith(event) {
      if (event.key === 'Tab') return this.escaped || (this.edges & (event.shiftKey ? 1 : 2)) !== 0;
      if (event.type === 'keydown' && !MODIFIER_KEYS.has(event.key)) this.escaped = event.key === 'Escape';
      return false;
    }

    isConsoleKey(event, modifiers) {
      if ([...event.key].length === 1 && (modifiers & 14) === 0) return true;
      if (CONSOLE_KEYS.has(event.key)) return true;
      if ((modifiers & 12) !== 0) return false;
      const name = event.key.length === 1 ? event.key.toLowerCase() : event.key;
      return this.keys.has((modifiers & 2) !== 0 ? `Control+${name}` : name);
    }

    // Windows of an input method open at the field.
    focusAt(event) {
      this.escaped = false;
      const box = this.canvas.getBoundingClientRect();
      const within = (n, most) => `${Math.max(0, Math.min(most - 20, n))}px`;
      this.field.style.left = within(event.clientX - box.left, box.width);
      this.field.style.top = within(event.clientY - box.top, box.height);
      this.field.focus({preventScroll: true});
    }

    // Whether the console has a text field under its cursor: a touch screen shows its keyboard for no other.
    setTextWanted(wanted) {
      this.field.inputMode = wanted ? 'text' : 'none';
    }

    isPaste(event) {
      const control = (this.modifiers(event) & 2) !== 0;
      return (control && event.key.toLowerCase() === 'v') || (event.shiftKey && event.key === 'Insert');
    }

    onKey(event, down) {
      if (!this.host.isOpen || event.isComposing || COMPOSED_KEYS.has(event.key)) return;
      if (this.leavesWith(event) || this.isPaste(event)) return;
      this.onTouched();
      const modifiers = this.modifiers(event);
      if (this.isConsoleKey(event, modifiers)) event.preventDefault();
      this.sendKey(IS_MAC && event.key === 'Meta' ? 'Control' : event.key, down, modifiers, event.repeat);
    }

    sendKey(key, down, modifiers = 0, repeat = false) {
      const name = new TextEncoder().encode(key);
      const view = message(TO_HOST.key, 3 + name.length);
      view.setUint8(1, down);
      view.setUint8(2, repeat ? 1 : 0);
      view.setUint8(3, modifiers);
      new Uint8Array(view.buffer).set(name, 4);
      this.send(view);
    }

    strike(key) {
      this.sendKey(key, 1);
      this.sendKey(key, 0);
    }

    sendText(text) { if (text) this.send(textMessage(TO_HOST.text, text, MOST_TEXT)); }

    // What comes without a key: from an input method, from a touch screen's keyboard, by dictation.
    onBeforeInput(event) {
      if (event.isComposing) return;
      event.preventDefault();
      if (event.inputType === 'insertText' || event.inputType === 'insertReplacementText') this.sendText(event.data);
      else if (event.inputType === 'insertLineBreak') this.strike('Enter');
      else if (event.inputType === 'deleteContentBackward') this.strike('Backspace');
    }

    onFocus(has) {
      this.escaped = false;
      if (this.way) this.edges = 0;  // until the host tells them of where it comes in
      this.tellFocus(has, has ? this.way || 0 : 0);
    }

    tellFocus(has, way = 0) {
      const view = message(TO_HOST.focus, 2);
      view.setUint8(1, has);
      view.setUint8(2, way);
      this.send(view);
    }

    // The console has put something on its clipboard.
    copy(text) {
      if (navigator.clipboard) navigator.clipboard.writeText(text).catch(() => {});
    }
  }
