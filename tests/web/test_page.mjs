// A page embeds the console: what its user and its script see, in a real browser.
import assert from 'node:assert/strict';
import {readdirSync, readFileSync} from 'node:fs';
import {createServer, request} from 'node:http';
import {count, PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const programs = new Programs();
const CREDENTIAL = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');

// What the canvas shows: the number of pictures that differ in a rectangle, or a pixel.
const hash = (page, box) => page.evaluate(([x, y, w, h]) => {
  const canvas = document.querySelector('tr450-client').canvas;
  return canvas.getContext('2d').getImageData(x, y, w, h).data.reduce((sum, byte) => (sum * 31 + byte) | 0, 7);
}, box);

async function movingPictures(page, box, wanted = 4) {
  const seen = new Set();
  await until(`${wanted} different pictures`, async () => seen.add(await hash(page, box)).size >= wanted);
}

const events = (page) => page.evaluate(() => window.seen);
const control = (page, member, ...args) =>
  page.evaluate(([name, list]) => document.querySelector('tr450-client')[name](...list), [member, args]);

async function watchEvents(page) {
  await page.evaluate(() => {
    window.seen = [];
    const element = document.querySelector('tr450-client');
    for (const name of ['OnLogin', 'OnLogout', 'OnGotoPage', 'OnChgLanguage', 'OnGotoServer']) {
      element.addEventListener(name, (event) => window.seen.push([name, ...event.detail]));
    }
    element.addEventListener('browsercommand', ({detail}) => window.seen.push([detail.name, detail.value]));
  });
}

const hasEvent = (page, ...wanted) => until(`the event ${wanted}`, async () =>
  (await events(page)).some((event) => JSON.stringify(event) === JSON.stringify(wanted)));

// The active cell's caption is orange: how far it reaches tells the style.
const isOrange = (page, x, y) => page.evaluate(([px, py]) => {
  const [r, g, b] = document.querySelector('tr450-client').canvas.getContext('2d').getImageData(px, py, 1, 1).data;
  return r > 190 && g > 110 && g < 190 && b < 130;
}, [x, y]);

const UPPER_LEFT_CELL = [60, 120, 120, 80];

async function userAndScript(browser) {
  const page = await browser.newPage({viewport: {width: 1300, height: 720}});
  const problems = [];
  page.on('pageerror', (error) => problems.push(error.message));
  page.on('console', (message) => { if (message.type() === 'error') problems.push(message.text()); });
  await page.goto(programs.url.href);
  await watchEvents(page);
  // The size at which the console's controls stand where its table has them.
  await page.evaluate(() => Object.assign(document.querySelector('tr450-client').style, {flex: 'none', height: '680px'}));
  await until('the smaller display', () => page.evaluate(() => document.querySelector('tr450-client').canvas.width === 1000));

  assert.equal(await control(page, 'Login', USER, PASSWORD), 0);
  await hasEvent(page, 'OnLogin', 0);
  await movingPictures(page, UPPER_LEFT_CELL);

  // A style button, by the mouse, with its tooltip and its look.
  assert.equal(await isOrange(page, 700, 70), false);
  await page.mouse.click(896, 82);
  await until('the single view', () => isOrange(page, 700, 70));
  await movingPictures(page, [600, 400, 120, 80]);
  await until('sound', () => page.evaluate(() => document.querySelector('tr450-client').sounds > 3));

  // The main menu opens, follows the mouse, and its first entry asks for a page.
  const below = [880, 48, 100, 60];
  const before = await hash(page, below);
  await page.mouse.click(963, 26);
  await until('the menu', async () => await hash(page, below) !== before);
  await page.mouse.move(940, 58);
  await page.mouse.click(940, 58);
  await hasEvent(page, 'OnGotoPage', 1);

  // The host logs its pages' consoles in by itself, and so does the console that another language builds.
  assert.equal(await control(page, 'SetLanguage', 6), 1);
  assert.equal(await control(page, 'CheckCamera', '1.2.3.4', 80, 'x', 'u', 'p'), null);
  assert.equal(await control(page, 'CheckCamera', '1.2.3.4', '80', 'x', 'u', 'p'), 0);
  await page.evaluate((auth) => document.querySelector('tr450-client').AutoLogin(auth), CREDENTIAL);
  await movingPictures(page, UPPER_LEFT_CELL);

  const logouts = (await events(page)).filter(([name]) => name === 'OnLogout').length;
  assert.equal(await control(page, 'Logout'), null);
  await until('the pictures to stop', async () => {
    const first = await hash(page, UPPER_LEFT_CELL);
    await new Promise((resolve) => setTimeout(resolve, 700));
    return await hash(page, UPPER_LEFT_CELL) === first;
  });
  assert.equal((await events(page)).filter(([name]) => name === 'OnLogout').length, logouts);
  assert.deepEqual(problems, []);
  await page.close();
}

// A snapshot is saved where the host runs, and its user gets it here.
async function snapshots(browser) {
  const context = await browser.newContext({viewport: {width: 1300, height: 720}, acceptDownloads: true});
  await context.grantPermissions(['clipboard-read', 'clipboard-write'], {origin: programs.url.origin});
  const page = await context.newPage();
  await page.goto(programs.url.href);
  await watchEvents(page);
  assert.equal(await control(page, 'Login', USER, PASSWORD), 0);
  await movingPictures(page, UPPER_LEFT_CELL);
  await page.evaluate(() => document.querySelector('tr450-client').focus());
  const focused = (name) => until(`the keyboard at ${name}`, () => page.evaluate(
    (wanted) => document.querySelector('tr450-client').field.ariaLabel === wanted, name));
  // The line that tells of it gets the keyboard by its key, once it is there.
  const takeAndGo = async (name) => {
    await page.keyboard.press('s');
    await until('the line that tells of it', async () => {
      await page.keyboard.press('m');
      return page.evaluate(() => document.querySelector('tr450-client').field.ariaLabel === 'Save as...');
    });
    if (name !== 'Save as...') {
      await page.keyboard.press('ArrowRight');
      await focused(name);
    }
  };
  await takeAndGo('Save as...');
  const [download] = await Promise.all([page.waitForEvent('download'), page.keyboard.press('Enter')]);
  assert.match(download.suggestedFilename(), /^kvrecorder - Camera 1 .*\.(jpg|bmp)$/);
  const bytes = readFileSync(await download.path());
  assert.ok(bytes.length > 2000 && (bytes.readUInt16BE(0) === 0xffd8 || bytes.toString('latin1', 0, 2) === 'BM'));

  await takeAndGo('Copy');
  await page.keyboard.press('Enter');
  await until('a picture on the clipboard', () => page.evaluate(async () => {
    const items = await navigator.clipboard.read();
    return items.some((item) => item.types.includes('image/png'));
  }));

  // A page that takes it by itself.
  await page.evaluate(() => document.querySelector('tr450-client').addEventListener('picture', (event) => {
    event.preventDefault();
    window.taken = [event.detail.file.name, event.detail.file.type, event.detail.use];
  }));
  await takeAndGo('Save as...');
  await page.keyboard.press('Enter');
  const taken = await until('the event', () => page.evaluate(() => window.taken));
  assert.match(taken[1], /^image\/(jpeg|bmp)$/);
  assert.equal(taken[2], 'save');
  await context.close();
}

// What the console and the page's commands want of the browser around them. A second server stands for the
// recorder's pages.
async function browserAround(browser, site) {
  const asked = site.asked;
  const context = await browser.newContext({viewport: {width: 1300, height: 720}});
  const page = await context.newPage();
  await page.goto(programs.url.href);
  await watchEvents(page);
  const command = (id, value) => control(page, 'Command', id, value);

  // The toolbar is what the sample page has beside the console, until an option of the console brings it back.
  const hasBar = (wanted) => until(`the page's bar: ${wanted}`, () =>
    page.evaluate((is) => document.querySelector('aside').hidden === !is, wanted));
  assert.equal(await command(0x421, 0), 0);
  await hasBar(false);
  assert.equal(await control(page, 'Login', USER, PASSWORD), 0);
  await hasBar(true);

  // Properties come before the console: a new element with the help's address.
  await page.evaluate((url) => {
    const old = document.querySelector('tr450-client');
    const fresh = document.createElement('tr450-client');
    fresh.HelpPath = `http://${new URL(url).host}/file:`;
    fresh.style.cssText = 'flex: none; height: 680px';
    old.replaceWith(fresh);
  }, site.url);
  await watchEvents(page);
  assert.equal(await control(page, 'Login', USER, PASSWORD), 0);
  await movingPictures(page, UPPER_LEFT_CELL);

  assert.equal(await command(0x601, '<img src=x onerror="window.bad=1">%s'), 0);
  await until('the title', async () => await page.title() === '<img src=x onerror="window.bad=1">%s');
  assert.equal(await command(0x600), 0);
  await until('the address as title', async () => await page.title() === programs.url.href);
  for (const [id, value] of [[0x411, 3], [0x411, 2], [0x413, 0], [0x415, 1], [0x422, 1], [0x425, 0], [0x426], [0x777, 1]]) {
    assert.equal(await command(id, value), 0);
  }
  await hasEvent(page, 'fit', null);
  const told = (await events(page)).map(([name, value]) => `${name} ${value}`);
  for (const call of ['windowState 2', 'removeClose null', 'appWindow 1', 'toolWindow 0', 'menuBar 1', 'caption 0']) {
    assert.ok(told.includes(call), `${call} in ${told}`);
  }
  assert.ok(!told.includes('windowState 3'));

  // The logout's request comes from the host's machine.
  await command(0x501, `${site.url}logout?x=1`);
  await until('the logout request', () => asked.some(({url, headers}) =>
    url === '/logout?x=1' && headers['user-agent'] === 'Logout IE Procedure'));

  // The help by the console's button: one window, which has no hold of the page and is used again.
  const shown = context.waitForEvent('page', {timeout: 10000});
  await page.mouse.click(930, 640);
  const help = await shown;
  await until('the help', () => asked.some(({url}) => url === '/file:/eng/help.html'));
  await until('the help without an opener', async () => await help.title().catch(() => '') === 'null');
  assert.ok(help.url().endsWith('/file:/eng/help.html#monitor'));
  const referrers = asked.map(({headers}) => headers.referer ?? '');
  assert.ok(referrers.every((referrer) => !referrer.includes('token')), String(referrers));
  await page.mouse.click(930, 640);
  await until('the help once more', async () =>
    (await events(page)).filter(([name]) => name === 'showHelp').length === 2);
  assert.equal(context.pages().length, 2);

  // Nothing else than a page of the web is opened, whoever asks.
  await page.evaluate(() => document.querySelector('tr450-client').onNotification('browser', ['openPage', 'javascript:window.bad=1']));
  await page.evaluate(() => document.querySelector('tr450-client').onNotification('browser', ['navigateHelp', 'data:text/html,x']));
  assert.ok(help.url().startsWith(site.url));

  // The logout button tells the page, once.
  await page.mouse.click(964, 640);
  await hasEvent(page, 'OnLogout', 0);
  assert.equal((await events(page)).filter(([name]) => name === 'OnLogout').length, 1);
  assert.equal(await page.evaluate(() => window.bad), undefined);
  await context.close();
}

// The host's own help: by the key in the page, in the console's language, with all that it needs.
async function ownHelp(browser) {
  const context = await browser.newContext({viewport: {width: 1300, height: 720}});
  const page = await context.newPage();
  await page.goto(programs.url.href);
  await watchEvents(page);
  assert.equal(await control(page, 'Login', USER, PASSWORD), 0);
  await movingPictures(page, UPPER_LEFT_CELL);
  const strike = async () => {
    await page.evaluate(() => document.querySelector('tr450-client').focus());
    const shown = context.waitForEvent('page', {timeout: 10000});
    await page.keyboard.press('F2');
    const help = await shown;
    const problems = [];
    help.on('console', (message) => { if (message.type() === 'error') problems.push(message.text()); });
    await until('the help', () => help.url().includes('/help/') && help.evaluate(() => document.readyState === 'complete'));
    const seen = await help.evaluate(() => ({
      title: document.title, language: document.documentElement.lang, opener: window.opener,
      broken: [...document.images].filter((image) => image.complete && image.naturalWidth === 0).map(({src}) => src),
      pictures: document.images.length,
      styled: getComputedStyle(document.querySelector('kbd')).borderTopWidth,
    }));
    assert.deepEqual(problems, []);
    return {...seen, url: help.url().replace(programs.url.origin, ''), help};
  };
  const {help, ...english} = await strike();
  assert.ok(english.pictures > 20);
  assert.deepEqual({...english, pictures: 0}, {title: 'kvmon - Help', language: 'en', opener: null, broken: [], pictures: 0,
    styled: '1px', url: '/help/eng/help.html#monitor'});
  // On a telephone nothing is wider than the page.
  await help.setViewportSize({width: 400, height: 800});
  assert.ok(await help.evaluate(() => document.documentElement.scrollWidth <= 400));
  await help.click('a[hreflang=de]');
  await until('the page in German', async () => await help.title() === 'kvmon - Hilfe');
  await help.close();

  assert.equal(await control(page, 'SetLanguage', 6), 1);
  await movingPictures(page, UPPER_LEFT_CELL);
  const german = await strike();
  assert.deepEqual([german.url, german.language, german.broken], ['/help/ger/help.html#monitor', 'de', []]);
  await german.help.close();
  await context.close();
}

// A page of another origin, of the old form, with one line more.
function oldPage(base, token) {
  return `<!DOCTYPE html><title>old</title>
    <object id="mon" classid="clsid:00000000-0000-0000-0000-000000000000" width="1000" height="680">
      <param name="ServerIP" value="127.0.0.1"><param name="ServerPort" value="${programs.recorderPort}">
      <param name="AuthData" value="${CREDENTIAL}"><param name="AutoStart" value="1"></object>
    <script for="mon" event="OnLogin(n)">window.loggedIn = 'by ' + n;</script>
    <script src="${base}/kvmon.js?token=${token}"></script>`;
}

async function otherOrigins(browser, allowed, refused) {
  const page = await browser.newPage();
  await page.goto(allowed.url);
  await until('the old page to log in', () => page.evaluate(() => window.loggedIn === 'by 0'));
  await movingPictures(page, UPPER_LEFT_CELL);
  assert.equal(await page.evaluate(() => document.getElementById('mon').ServerIP), '127.0.0.1');
  await page.close();

  const stranger = await browser.newPage();
  await stranger.goto(refused.url);
  const got = await stranger.evaluate(async ([base, token]) => {
    const socket = new WebSocket(`${base.replace('http', 'ws')}/control?token=${token}`);
    const opened = await new Promise((resolve) => {
      socket.onopen = () => resolve(true);
      socket.onclose = () => resolve(false);
    });
    const read = await fetch(`${base}/`).then(() => true, () => false);
    return {opened, read, element: customElements.get('tr450-client') !== undefined};
  }, [programs.url.origin, programs.token]);
  assert.deepEqual(got, {opened: false, read: false, element: false});
  await stranger.close();
}

// Requests that no browser would make for its user.
async function requests() {
  const ask = (path, headers = {}, method = 'GET') => new Promise((resolve) => {
    const call = request({host: '127.0.0.1', port: programs.url.port, path, headers, method}, (answer) => {
      let body = '';
      answer.on('data', (data) => { body += data; }).on('end', () => resolve([answer.statusCode, body]));
    });
    call.on('error', () => resolve(['closed', '']));
    call.end();
  });
  const upgrade = {Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': '13',
    'Sec-WebSocket-Key': 'dGhlIHNhbXBsZSBub25jZQ=='};
  const [status, page] = await ask('/');
  assert.equal(status, 200);
  assert.ok(page.includes(programs.token));
  assert.equal((await ask('/kvmon.d.ts'))[0], 200);
  const [, english] = await ask('/help/eng/help.html');
  assert.ok(english.includes('<html lang="en">'));
  assert.deepEqual(await ask('/help/jpn/help.html'), [200, english]);
  assert.ok((await ask('/help/ger/help.html'))[1].includes('<html lang="de">'));
  assert.ok((await ask('/help/help.css'))[1].includes('prefers-color-scheme'));
  for (const path of ['/help', '/help/', '/help/eng', '/help/../kvmon', '/help/eng/../../kvmon', '/help/%2e%2e/kvmon', '/help//etc/passwd']) {
    assert.deepEqual(await ask(path), [404, ''], path);
  }
  const refused = {
    'another name for this address': ask('/', {Host: `evil.example:${programs.url.port}`}),
    'a foreign page': ask('/kvmon.js', {Origin: 'http://evil.example'}),
    'a foreign page for what is not there': ask('/nothing', {Origin: 'http://evil.example'}),
    'a foreign page for the help': ask('/help/eng/help.html', {Origin: 'http://evil.example'}),
    'a wrong token': ask(`/control?token=${programs.token}0`, upgrade),
    'a foreign page with the token': ask(`/control?token=${programs.token}`, {...upgrade, Origin: 'http://evil.example'}),
  };
  for (const [what, answer] of Object.entries(refused)) assert.deepEqual(await answer, [403, ''], what);
  assert.deepEqual(await ask('/../etc/passwd'), [404, '']);
  assert.deepEqual(await ask('/', {}, 'POST'), [405, '']);
  assert.deepEqual(await ask(`/control?token=${programs.token}`), [426, '']);
  assert.deepEqual(await ask(`/${'a'.repeat(9000)}`), [400, '']);
  assert.equal(programs.sessions().length, 0);
}

// What a page of ours can do at its worst, with a socket of its own.
async function hostilePage(browser) {
  const page = await browser.newPage();
  await page.goto(programs.url.href);
  const results = await page.evaluate(async ([token, auth]) => {
    const open = async () => {
      const socket = new WebSocket(`ws://${location.host}/control?token=${token}`);
      socket.binaryType = 'arraybuffer';
      socket.frames = 0;
      socket.answers = new Map();
      socket.onmessage = ({data}) => {
        if (typeof data === 'string' && data.includes(auth)) socket.leaked = true;
        if (typeof data !== 'string') socket.frames += new DataView(data).getUint8(0) === 1 ? 1 : 0;
        else if (JSON.parse(data).id) socket.answers.get(JSON.parse(data).id)?.(JSON.parse(data));
      };
      socket.closed = new Promise((resolve) => { socket.onclose = (event) => resolve(event.code); });
      await new Promise((resolve) => { socket.onopen = resolve; });
      socket.call = (method, params) => new Promise((resolve) => {
        const id = socket.answers.size + 1;
        socket.answers.set(id, resolve);
        socket.send(JSON.stringify({jsonrpc: '2.0', id, method, params}));
      });
      return socket;
    };
    const result = {};

    // The host's credential: not to be read, and not for another recorder.
    let socket = await open();
    result.hostAuth = (await socket.call('get.AuthData')).result + (await socket.call('get.authdata')).result;
    result.leaked = socket.leaked === true;
    await socket.call('put.ServerPort', [1]);
    await socket.call('put.AuthData', [auth]);
    result.ownAuth = (await socket.call('get.AuthData')).result;
    result.name = (await socket.call('get.DefServerName')).result;
    result.unknown = (await socket.call('NotifyLogin', [0])).error.code;
    socket.close();

    // A page that shows nothing of what it gets: two frames, whatever moves.
    socket = await open();
    socket.send(new Uint8Array([1, 0xE8, 3, 0xA8, 2]));
    await new Promise((resolve) => setTimeout(resolve, 4000));
    result.frames = socket.frames;
    result.alive = (await socket.call('GetLanguage')).result;
    socket.close();

    const end = async (...messages) => {
      const one = await open();
      for (const message of messages) one.send(message);
      return one.closed;
    };
    result.noMessage = await end(new Uint8Array([99]));
    result.large = await end(new Uint8Array(300 * 1024));
    result.flood = await end(...Array(3000).fill(new Uint8Array([6])));
    return result;
  }, [programs.token, CREDENTIAL]);
  assert.deepEqual(results, {
    hostAuth: '', leaked: false, ownAuth: CREDENTIAL, name: null, unknown: -32601, frames: 2, alive: 0, noMessage: 1008, large: 1009,
    flood: 1008,
  });
  await page.close();
}

async function reloads(browser, before) {
  const page = await browser.newPage({viewport: {width: 1300, height: 720}});
  const shown = () => until('a picture', () => page.evaluate(() => document.querySelector('tr450-client')?.frames > 0));
  await page.goto(programs.url.href);
  await shown();
  const pid = programs.host.pid;
  for (let i = 0; i < 50; ++i) {
    await page.reload();
    // Some in the middle of a session's start, some with pictures.
    if (i % 5 === 0) await shown();
  }
  await page.close();
  await until('all sessions to end', () => programs.sessions().length === 0);
  await until('all threads and descriptors to go', () => JSON.stringify(held(pid)) === JSON.stringify(before));
}

// How often the threads that decode have gone to sleep: each picture is another time.
function decodeSleeps(pid) {
  let sleeps = 0;
  for (const task of readdirSync(`/proc/${pid}/task`)) {
    const status = readFileSync(`/proc/${pid}/task/${task}/status`, 'utf8');
    if (/^Name:\s*kv-decode$/m.test(status)) sleeps += Number(/^voluntary_ctxt_switches:\s*(\d+)$/m.exec(status)[1]);
  }
  return sleeps;
}

// A tab that another one hides tells the same, but a browser without a window hides none.
async function unseen(browser) {
  const page = await browser.newPage({viewport: {width: 1300, height: 720}});
  await page.goto(programs.url.href);
  await until('pictures', () => page.evaluate(() => document.querySelector('tr450-client')?.frames > 20));
  const pid = programs.sessions().at(-1);
  const moves = async (ms) => {
    const before = decodeSleeps(pid);
    await page.waitForTimeout(ms);
    return decodeSleeps(pid) - before;
  };
  const put = (top) => page.evaluate((place) =>
    Object.assign(document.querySelector('tr450-client').style, {position: 'absolute', top: place}), top);
  await until('pictures to be decoded', async () => await moves(400) > 10);
  await put('-4000px');
  await until('nothing to be decoded', async () => await moves(400) === 0);
  await put('0');
  await movingPictures(page, UPPER_LEFT_CELL);
  await page.close();
}

const held = (pid) => ({threads: count(`/proc/${pid}/task`), descriptors: count(`/proc/${pid}/fd`)});

const servePage = (content) => new Promise((resolve) => {
  const asked = [];
  const server = createServer((request, response) => {
    asked.push(request);
    response.setHeader('Content-Type', 'text/html').end(content());
  });
  server.listen(0, '127.0.0.1', () => resolve({server, asked, url: `http://127.0.0.1:${server.address().port}/`}));
});

const site = await servePage(() => '<title>help</title><script>document.title = String(window.opener)</script>');
const content = () => oldPage(programs.url.origin, programs.token);
const allowed = await servePage(content);
const refused = await servePage(content);
await runTests(programs, async (test, launch) => {
  await programs.startRecorder();
  await programs.startHost(['--web-origin', new URL(allowed.url).origin, '--auth', '-', '--auto-start'],
      CREDENTIAL + '\n');
  const before = held(programs.host.pid);
  const browser = await launch();
  for (const [name, act] of Object.entries({
    requests, userAndScript, unseen, snapshots, browserAround: (b) => browserAround(b, site), ownHelp, hostilePage, otherOrigins: (b) => otherOrigins(b, allowed, refused),
    reloads: (b) => reloads(b, before),
  })) {
    await test(name, () => act(browser));
  }
});
for (const {server} of [allowed, refused, site]) server.close();
