  // --- pages of the old form

  // What tells the control's object from another one: parameters, and members, that no other has.
  const TELLING = ['ServerIP', 'ServerPort', 'DefServerName', 'HelpPath', 'AuthData'];
  const TELLING_MEMBERS = new Set([...TELLING, ...METHODS.filter((name) => name !== 'Command' && name !== 'Login')]);
  const taken = new WeakMap();  // objects, whose elements their scripts mean

  const hasClass = (object) => /^clsid:/i.test(object.getAttribute('classid') || '');
  const isOldForm = (object) => hasClass(object) &&
      [...object.querySelectorAll('param')].some((param) => TELLING.includes(memberOf(param.name || '')));

  // The parser has left it.
  function isWhole(node) {
    for (let at = node; at && document.readyState === 'loading'; at = at.parentNode) if (at.nextSibling) return true;
    return document.readyState !== 'loading';
  }

  function takeOver(object) {
    const element = document.createElement('tr450-client');
    for (const name of ['id', 'name', 'class', 'style', 'title', 'tabindex', 'hidden', 'lang']) {
      if (object.hasAttribute(name)) element.setAttribute(name, object.getAttribute(name));
    }
    for (const side of ['width', 'height']) {
      const length = object.getAttribute(side);
      if (length && !element.style[side]) element.style[side] = /%$/.test(length) ? length : `${parseInt(length, 10)}px`;
    }
    element.append(...object.querySelectorAll('param'));
    // What a script has set before this one came.
    const early = Object.keys(object).filter((name) => PROPERTIES[memberOf(name)]);
    taken.set(object, element);
    object.replaceWith(element);
    for (const name of early) element[name] = object[name];
    for (const name of [element.id, element.getAttribute('name')]) if (name) nameInPage(name, element.id === name);
    return element;
  }

  // The browser finds objects, and no other elements, as `document.NAME`; and elements by their id alone as
  // `NAME`.
  function nameInPage(name, isId) {
    const find = () => [...document.querySelectorAll('tr450-client')].find(
        (element) => element.id === name || element.getAttribute('name') === name);
    for (const place of isId ? [document] : [document, window]) {
      if (name in place) continue;
      Object.defineProperty(place, name, {
        configurable: true,
        get: find,
        set(value) { Object.defineProperty(place, name, {value, configurable: true, writable: true}); },
      });
    }
  }

  // A script may have the object in its hands in the moment in which the page gets it, or for ever.
  function elementFor(object, member) {
    if (taken.has(object)) return taken.get(object);
    if (!(object instanceof HTMLObjectElement) || !object.isConnected) return undefined;
    return isOldForm(object) || (hasClass(object) && TELLING_MEMBERS.has(member)) ? takeOver(object) : undefined;
  }
  Object.setPrototypeOf(HTMLObjectElement.prototype, anyCase(HTMLElement.prototype, (object, member) => {
    const element = elementFor(object, member);
    const value = element && element[member];
    return typeof value === 'function' ? value.bind(element) : value;
  }, (object, member, value) => {
    const element = elementFor(object, member);
    if (element) element[member] = value;
    return element !== undefined;
  }));

  // <script for="ID" event="OnLogin(nParam)">: the browser does not run these, so the element does.
  const handled = new WeakSet();

  function ownerOf(handler) {
    const id = handler.getAttribute('for');
    const named = (element) => [element.id, element.getAttribute('name') || ''].some(
        (name) => name.toLowerCase() === id.toLowerCase());
    const found = document.getElementById(id) || [...document.querySelectorAll('tr450-client, object')].find(named);
    return found instanceof HTMLObjectElement && hasClass(found) && isWhole(found) ? takeOver(found) : found;
  }

  // Nothing, with a warning, for what this browser cannot run.
  function compile(handler, event, parameters) {
    const language = `${handler.getAttribute('language') || ''} ${handler.type}`;
    try {
      if (/vbs/i.test(language)) throw new SyntaxError('its language is VBScript');
      return new Function(parameters, handler.textContent);
    } catch (error) {
      console.warn(`kvmon: a handler of ${event} is left out: ${error.message}`);
      return undefined;
    }
  }

  function takeHandler(handler) {
    const match = /^\s*(\w+)\s*(?:\(([\w\s,]*)\))?\s*$/.exec(handler.getAttribute('event'));
    const event = match && eventOf(match[1]);
    const element = event && ownerOf(handler);
    if (!(element instanceof TR450Client)) return;  // another one's, or its object is still to come
    handled.add(handler);
    const run = compile(handler, event, match[2] || '');
    if (run) element.attachEvent(event, run);
  }

  const objects = document.getElementsByTagName('object');
  const scripts = document.getElementsByTagName('script');
  function takeOverPage() {
    for (const object of [...objects]) if (isOldForm(object) && isWhole(object)) takeOver(object);
    for (const handler of scripts) {
      if (handler.hasAttribute('for') && handler.hasAttribute('event') && !handled.has(handler) && isWhole(handler)) {
        takeHandler(handler);
      }
    }
  }
  new MutationObserver(takeOverPage).observe(
      document, {childList: true, subtree: true, attributes: true, attributeFilter: ['classid']});
  // Before the elements' own, which start their sessions then.
  document.addEventListener('DOMContentLoaded', takeOverPage);
  takeOverPage();
})();
