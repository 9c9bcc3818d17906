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
