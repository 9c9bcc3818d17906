  // --- the element's members: what the control has, by the same names

  // What a member's call means for the sessions that follow when the connection breaks.
  const AFTER_CALL = {
    Login: (element, parameters) => { element.lastLogin = ['Login', parameters]; },
    AutoLogin: (element, parameters) => { element.lastLogin = ['AutoLogin', parameters]; },
    Logout: (element) => { element.lastLogin = null; },
    // What it has become has been told by then: it may be another than the one that was asked for.
    SetLanguage: (element, [number], result) => { if (result === 1) element.given.set('Language', String(number)); },
  };

  for (const [name, type] of Object.entries(PROPERTIES)) {
    Object.defineProperty(TR450Client.prototype, name, {
      enumerable: true,
      // The control's own reading of this one gives nothing.
      get() { return name === 'DefServerName' ? undefined : this.values[name]; },
      set(value) {
        const given = type(value);
        const isWrong = Number.isNaN(given);  // the control refuses it, and keeps what it has
        if (!isWrong) {
          this.values[name] = given;
          this.given.set(name, given);
        }
        if (this.connection) this.put(name, isWrong ? String(value) : given);
      },
    });
  }

  // Answers that stand before the control gives them. Scripts of old compare them at once: `Login(...) == 0`.
  const CERTAIN = {
    Login: () => 0,  // there is a console by then
    Command: () => 0,
    SetLanguage: () => 1,
    GetLanguage: (element) => Number(element.values.Language),
    CheckCamera: (element, [address, port, , user, password]) =>
      [address, port, user, password].every((text) => typeof text === 'string') ? 0 : undefined,
  };

  for (const name of METHODS) {
    TR450Client.prototype[name] = function(...parameters) {
      const result = this.call(name, parameters);
      const certain = CERTAIN[name] && CERTAIN[name](this, parameters);
      if (certain !== undefined) Object.defineProperty(result, Symbol.toPrimitive, {value: () => certain});
      if (AFTER_CALL[name]) result.then((value) => AFTER_CALL[name](this, parameters, value), () => {});
      return result;
    };
  }

  // Scripts of old pages write names in any case. What the page's own objects have comes first.
  function anyCase(base, read, write) {
    return new Proxy(Object.create(base), {
      get(target, name, receiver) {
        const member = typeof name === 'string' && !(name in target) && memberOf(name);
        return member ? read(receiver, member) : Reflect.get(target, name, receiver);
      },
      set(target, name, value, receiver) {
        const member = typeof name === 'string' && !(name in target) && memberOf(name);
        return (member && write(receiver, member, value)) || Reflect.set(target, name, value, receiver);
      },
    });
  }

  Object.setPrototypeOf(TR450Client.prototype, anyCase(HTMLElement.prototype,
      (element, member) => element[member], (element, member, value) => {
        element[member] = value;
        return true;
      }));

  customElements.define('tr450-client', TR450Client);

