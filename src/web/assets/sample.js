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

// What the console is doing, in this page's own words.
const state = document.getElementById('state');
function tell(kind, text) {
  state.dataset.kind = kind;
  state.textContent = text;
  show(text);
}
control.addEventListener('sessionstart', () => {
  tell('out', 'Logged out');
  languages.value = control.Language;
});
control.addEventListener('OnLogin', () => tell('in', 'Logged in'));
control.addEventListener('OnLogout', () => tell('out', 'Logged out'));
control.addEventListener('loginend', () => tell('ended', 'The language has changed. Log in again.'));
control.addEventListener('sessionend', () => tell('ended', 'The session has ended. Connecting again...'));
control.addEventListener('playbackshare', ({detail: {share, path, words}}) => show(`${share}: ${path || words}`));

document.getElementById('login').addEventListener('submit', (event) => {
  event.preventDefault();
  const value = (id) => document.getElementById(id).value;
  control.Login(value('user'), value('password'));
});
document.getElementById('logout').addEventListener('click', async () => {
  await control.Logout();
  tell('out', 'Logged out');
});

const languages = document.getElementById('language');
languages.append(...LANGUAGES.map((name, number) => new Option(name, number)));
control.addEventListener('OnChgLanguage', ({detail: [number]}) => { languages.value = number; });
languages.addEventListener('change', () => control.SetLanguage(Number(languages.value)));
