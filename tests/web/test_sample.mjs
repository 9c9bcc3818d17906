// The sample page as its user has it, in all its states; and what the element's properties give.
import assert from 'node:assert/strict';
import {writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const programs = new Programs();

async function open(browser) {
  const page = await browser.newPage({viewport: {width: 1300, height: 720}});
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  await page.goto(programs.url.href);
  return page;
}

const control = (page, text) => page.evaluate(`((element) => ${text})(document.querySelector('tr450-client'))`);
const states = (page, wanted) => until(`the state ${wanted}`, async () => await page.textContent('#state') === wanted);
// Of the element that the browser has drawn; KV_SCREENS names a folder for pictures of the states.
const picture = async (page, name) => {
  if (process.env.KV_SCREENS) await page.screenshot({path: join(process.env.KV_SCREENS, `${name}.png`)});
};

async function everyState(browser) {
  const page = await open(browser);
  await states(page, 'Logged out');
  await until('a picture', () => control(page, 'element.frames > 0'));
  await page.waitForTimeout(500);
  await picture(page, 'logged-out');

  const logIn = async () => {
    await page.fill('#user', USER);
    await page.fill('#password', PASSWORD);
    await page.press('#password', 'Enter');
    await states(page, 'Logged in');
  };
  await logIn();
  await until('live pictures', async () => /[1-9] of \d/.test(await control(page, 'element.status.textContent')));
  await page.waitForTimeout(1500);
  await picture(page, 'live');

  // Another language by the page ends the login, and the page says so; a break then does not bring it back.
  await page.selectOption('#language', {label: 'Deutsch'});
  await states(page, 'The language has changed. Log in again.');
  await until('the property', async () => await control(page, 'element.Language') === '6');
  await page.waitForTimeout(1000);
  await picture(page, 'language');
  process.kill(programs.sessions()[0], 'SIGKILL');
  await states(page, 'The session has ended. Connecting again...');
  await states(page, 'Logged out');
  await page.waitForTimeout(1000);
  assert.equal(await page.textContent('#state'), 'Logged out');
  assert.equal(await control(page, 'element.Language'), '6');
  assert.equal(await page.inputValue('#language'), '6');

  await logIn();
  await page.click('#logout');
  await states(page, 'Logged out');
  await programs.stopHost();
  await states(page, 'The session has ended. Connecting again...');
  await until('tries', async () => (await control(page, 'element.notice.textContent')) === 'Die Konsole ist nicht erreichbar. Es wird weiter versucht...');
  await picture(page, 'host-gone');
  await startHost(programs.url.host);
  await states(page, 'Logged out');
  assert.deepEqual(page.problems, []);
  await page.close();
}

// Properties give what the control has: the host's, before the page has put any, and what the control made of those.
async function properties(browser) {
  const page = await open(browser);
  await states(page, 'Logged out');
  assert.deepEqual(await control(page, '[element.ServerIP, element.ServerPort, element.AutoStart, element.AuthData, element.DefServerName]'),
      ['127.0.0.1', Number(programs.recorderPort), 0, '', undefined]);
  await control(page, 'element.ServerIP = "192.0.2.7"');
  assert.equal(await control(page, 'element.ServerIP'), '192.0.2.7');
  await control(page, 'element.GetLanguage()');
  assert.equal(await control(page, 'element.ServerIP'), '192.0.2.7');
  await control(page, 'element.Language = "99"');
  await until('the language that it is', async () => await control(page, 'element.Language') === '0');
  await control(page, 'element.Language = "3"');
  await control(page, 'element.GetLanguage()');
  assert.equal(await control(page, 'element.Language'), '3');
  assert.equal(await control(page, 'element.SetLanguage(99)'), 1);
  assert.equal(await control(page, 'element.Language'), '0');
  await page.evaluate(() => { document.querySelector('tr450-client').ServerPort = 'no port'; });
  await control(page, 'element.GetLanguage()');
  assert.equal(await control(page, 'element.ServerPort'), Number(programs.recorderPort));
  // A second element knows nothing of the first's.
  await page.evaluate(() => {
    const second = document.createElement('tr450-client');
    document.querySelector('tr450-client').replaceWith(second);
    return new Promise((resolve) => second.addEventListener('sessionstart', resolve, {once: true}));
  });
  assert.equal(await control(page, 'element.ServerIP'), '127.0.0.1');
  await page.close();
}

const startHost = (address) => programs.startHost(['--web-token-file', join(programs.folder, 'token')], '', address);
await runTests(programs, async (test, launch) => {
  writeFileSync(join(programs.folder, 'token'), '0123456789abcdef0123456789abcdef\n', {mode: 0o600});
  await programs.startRecorder();
  await startHost();
  const browser = await launch();
  for (const act of [everyState, properties]) await test(act.name, () => act(browser));
});
