// The sample page: calls members, and shows the events.
'use strict';

const LANGUAGES = ['English', '繁體中文', '简体中文', '日本語', 'Polski', 'Français', 'Deutsch', 'Italiano', 'Русский',
  'Dansk', 'Suomi', 'Español', 'Norsk', '한국어', 'Nederlands', 'Svenska', 'Português', 'Português (Brasil)', 'Magyar',
  'Čeština', 'Türkçe'];

const control = document.getElementById('console');
const list = document.getElementById('events');

function show(text) {
  const item = document.createElement('li');
  item.textContent = `${new Date().toLocaleTimeString()} ${text}`;
  list.prepend(item);
  while (list.children.length > 30) list.lastChild.remove();
}

for (const name of ['OnLogin', 'OnLogout', 'OnNeedGetNewVersion', 'OnChgLanguage', 'OnGotoPage', 'OnGotoServer']) {
  control.addEventListener(name, (event) => show(`${name}(${event.detail.join(', ')})`));
}

// The console's option for the toolbar of a browser shows and hides what this page has beside the console.
control.addEventListener('browsercommand', (event) => {
  if (event.detail.name !== 'toolBar') return;
  event.preventDefault();
  document.querySelector('aside').hidden = event.detail.value === 0;
});
control.addEventListener('OnGotoServer', ({detail: [, url]}) => {
  if (/^https?:\/\//.test(url)) window.open(url, '_blank', 'noopener');
});
control.addEventListener('sessionend', () => show('the session has ended'));

document.getElementById('login').addEventListener('submit', (event) => {
  event.preventDefault();
  const value = (id) => document.getElementById(id).value;
  control.Login(value('user'), value('password'));
});
document.getElementById('logout').addEventListener('click', () => control.Logout());

const languages = document.getElementById('language');
languages.append(...LANGUAGES.map((name, number) => new Option(name, number)));
languages.addEventListener('change', () => control.SetLanguage(Number(languages.value)));
