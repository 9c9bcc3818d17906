// The keyboard and what is read aloud: keys that are the console's and no others, the Tab key's way in and out,
// and what the browser tells the programs that help those who do not see the picture.
import assert from 'node:assert/strict';
import {createServer} from 'node:http';
import {PASSWORD, Programs, runSiteTests, until, USER} from './programs.mjs';

const programs = new Programs();
const CREDENTIAL = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');

const content = () => `<!DOCTYPE html><title>around</title><button id="before">before</button>
  <script src="${programs.url.origin}/kvmon.js?token=${programs.token}"></script>
  <tr450-client id="console" style="width: 1000px; height: 680px"></tr450-client><button id="behind">behind</button>
  <script>
    window.reached = [];
    // Keys that the console did not take come here as they are.
    addEventListener('keydown', (event) => { if (!event.defaultPrevented) window.reached.push(event.key); });
    addEventListener('contextmenu', (event) => { if (!event.defaultPrevented) window.reached.push('the menu'); });
  </script>`;
const site = createServer((request, response) => response.setHeader('Content-Type', 'text/html').end(content()));

const value = (page, text) => page.evaluate(text);
const focus = (page) => value(page, 'document.activeElement.id');
const control = (page) => value(page, 'document.getElementById("console").field.getAttribute("aria-label")');
const status = (page) => value(page, 'document.getElementById("console").status.textContent');
const pixels = (page, box) => page.evaluate(([x, y, w, h]) =>
  [...document.getElementById('console').canvas.getContext('2d').getImageData(x, y, w, h).data], box);

// The main menu is lighter than the ground that it hides.
const hasMenu = async (page) => (await pixels(page, [860, 264, 1, 1])).slice(0, 3).reduce((sum, part) => sum + part) > 88;

async function open(browser) {
  const page = await browser.newPage({viewport: {width: 1000, height: 760}});
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  await page.goto(`http://127.0.0.1:${site.address().port}/`);
  await until('the console', () => value(page, 'document.getElementById("console").frames > 0'));
  return page;
}

async function login(page) {
  await page.evaluate((auth) => document.getElementById('console').AutoLogin(auth), CREDENTIAL);
  await until('live pictures', async () => /[1-9] of \d/.test(await status(page)));
}

async function close(page) {
  assert.deepEqual(page.problems, []);
  await page.close();
  await until('the session to end', () => programs.sessions().length === 0);
}

// What the console's table of keys has does nothing else; the browser's own stay the browser's.
async function consumedKeys(browser) {
  const page = await open(browser);
  await login(page);
  const enter = async () => {
    await page.focus('#before');
    await page.keyboard.press('Tab');
    await value(page, 'window.reached = window.reached.filter((key) => key !== "Tab")');
  };
  await value(page, 'window.reached.length = 0');
  await enter();
  // The first control has the keyboard, or a menu or a window before it does.
  const edges = (wanted, what) => until(what, async () => await value(page, 'document.getElementById("console").input.edges') === wanted);
  await edges(1, 'the console');
  const openers = {F10: () => page.keyboard.press('F10'), F1: () => page.keyboard.press('F1'),
    'Shift+F10': () => page.keyboard.press('Shift+F10'), ContextMenu: () => page.keyboard.press('ContextMenu'),
    'a right click': () => page.mouse.click(300, 300, {button: 'right'})};
  for (const [what, act] of Object.entries(openers)) {
    await act();
    await edges(0, `what ${what} opens`);
    if (what === 'F10') await until('the main menu', () => hasMenu(page));
    await page.keyboard.press('Escape');
    if (what === 'a right click') await enter();  // it has brought the keyboard to the cell
    await edges(1, `the end of what ${what} opens`);
  }
  for (const key of ['F2', 'Control+1', 'Control+0', 'PageDown']) await page.keyboard.press(key);
  assert.deepEqual((await value(page, 'window.reached')).filter((key) => !['Shift', 'Control'].includes(key)), []);
  // F11 is the console's full screen, not the browser's; the console asks for it of the browser.
  await page.keyboard.press('F11');
  await until('the full screen', () => value(page, 'document.fullscreenElement?.id === "console"'));
  await page.keyboard.press('F11');
  await until('no full screen', () => value(page, 'document.fullscreenElement === null'));
  for (const key of ['F5', 'F12', 'Control+f', 'Control+Shift+I', 'Alt+1']) await page.keyboard.press(key);
  assert.deepEqual((await value(page, 'window.reached')).filter((key) => !['Shift', 'Control', 'Alt'].includes(key)), ['F5', 'F12', 'f', 'I', '1']);
  // Ctrl+Q logs out, and the page stays.
  await page.evaluate(() => document.getElementById('console').addEventListener('OnLogout', () => { window.loggedOut = true; }));
  await page.keyboard.press('Control+q');
  await until('the logout', () => value(page, 'window.loggedOut'));
  assert.ok(!(await value(page, 'window.reached')).includes('q'));
  await close(page);
}

// Tab goes through all of the console once and on; so does Shift+Tab, back.
async function throughAndOn(browser) {
  const page = await open(browser);
  await login(page);
  await page.focus('#before');
  for (const [key, from, to] of [['Tab', 'before', 'behind'], ['Shift+Tab', 'behind', 'before'], ['Tab', 'before', 'behind']]) {
    assert.equal(await focus(page), from);
    await page.keyboard.press(key);
    assert.equal(await focus(page), 'console');
    const seen = new Set();
    for (let steps = 0; await focus(page) === 'console'; ++steps) {
      assert.ok(steps < 120, `no way out with ${key} after ${[...seen]}`);
      await page.waitForTimeout(60);
      seen.add(await control(page));
      await page.keyboard.press(key);
    }
    assert.equal(await focus(page), to);
    assert.ok(seen.size > 20, `${key}: ${[...seen]}`);
  }
  await close(page);
}

// From anywhere, behind Escape; and from a console that is gone.
async function escapeAndOn(browser) {
  const page = await open(browser);
  await login(page);
  for (const [key, to, x] of [['Tab', 'behind', 500], ['Shift+Tab', 'before', 300]]) {
    await page.mouse.click(x, 40);
    await page.keyboard.press('Tab');
    await page.keyboard.press('Tab');
    assert.equal(await focus(page), 'console');
    await page.keyboard.press('Escape');
    await page.keyboard.press(key);
    assert.equal(await focus(page), to);
  }
  await page.focus('#console');
  await page.keyboard.press('Tab');
  assert.equal(await focus(page), 'console');
  process.kill(programs.sessions()[0], 'SIGSTOP');
  await value(page, 'document.getElementById("console").connection.end()');
  await page.keyboard.press('Tab');
  assert.equal(await focus(page), 'behind');
  process.kill(programs.sessions()[0], 'SIGCONT');
  await close(page);
}

// In Chromium's own tree.
async function readAloud(browser) {
  const page = await open(browser);
  const cdp = await page.context().newCDPSession(page);
  const tree = async () => (await cdp.send('Accessibility.getFullAXTree')).nodes.filter((node) => !node.ignored);
  const named = async (role) => (await tree()).filter((node) => node.role?.value === role).map((node) => node.name?.value ?? '');
  await until('its role and label', async () => (await named('application')).includes('Monitoring console'));
  const live = async () => (await tree()).filter((node) => node.role?.value === 'status' || node.role?.value === 'StaticText').map((node) => node.name?.value).join('|');
  const before = await status(page);
  assert.ok(before.length > 0);
  await login(page);
  assert.notEqual(await status(page), before);
  await until('the status line', async () => /[1-9] of \d/.test(await live()));
  // The control that has the keyboard.
  await page.focus('#before');
  await page.keyboard.press('Tab');
  for (const name of ['4 channels', 'Full screen', 'Options']) {
    await until(`the way to ${name}`, async () => {
      const here = await control(page);
      if (here === name) return true;
      await page.keyboard.press('Tab');
      // Not by the clock: a host that is late would be passed by, and the way out of the console taken.
      for (let i = 0; i < 40 && await control(page) === here; ++i) await page.waitForTimeout(50);
      return false;
    });
    await until(`the name of ${name}`, async () => (await named('textbox')).includes(name));
  }
  await page.evaluate(() => document.getElementById('console').SetLanguage(6));
  await until('another language', async () => (await named('application')).includes('Überwachungskonsole'));
  await close(page);
}

await runSiteTests(programs, site, [consumedKeys, throughAndOn, escapeAndOn, readAloud]);
