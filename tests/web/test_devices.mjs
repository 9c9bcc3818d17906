// What a page's devices do with the console: fine screens, fingers, letters, the clipboard, loudspeaker and
// microphone, the whole screen, a page that nobody sees, and a connection that breaks.
import assert from 'node:assert/strict';
import {readdirSync, readFileSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const TONE = 440;   // of the recorder's channel
const VOICE = 700;  // of the page's microphone
const RATE = 8000;

const programs = new Programs();
const CREDENTIAL = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');
const voice = join(programs.folder, 'voice.wav');
const config = `
[server]
talk_folder = "${programs.folder}"
[[users]]
name = "${USER}"
password = "${PASSWORD}"
audio = "all"
talk = "all"
[[channels]]
name = "Camera 1"
audio = true
talk = true
sound = { format = "mu-law", hertz = ${TONE} }
streams = [{ codec = "h264", width = 352, height = 240, fps = 25, gop = 25 }]
`;

function waveFile(hertz, seconds, rate = 48000) {
  const bytes = Buffer.alloc(44 + 2 * seconds * rate);
  bytes.write('RIFF');
  bytes.writeUInt32LE(bytes.length - 8, 4);
  bytes.write('WAVEfmt ', 8);
  [[16, 4], [1, 2], [1, 2], [rate, 4], [2 * rate, 4], [2, 2], [16, 2]].reduce(
      (at, [value, size]) => bytes.writeUIntLE(value, at, size), 16);
  bytes.write('data', 36);
  bytes.writeUInt32LE(bytes.length - 44, 40);
  for (let i = 0; i < seconds * rate; ++i) bytes.writeInt16LE(Math.round(12000 * Math.sin(2 * Math.PI * hertz * i / rate)), 44 + 2 * i);
  return bytes;
}

// How much of a sound is a tone: 1 if there is nothing else.
function toneShare(samples, hertz, rate) {
  let [re, im, all] = [0, 0, 0];
  samples.forEach((sample, i) => {
    re += sample * Math.cos(2 * Math.PI * hertz * i / rate);
    im += sample * Math.sin(2 * Math.PI * hertz * i / rate);
    all += sample * sample;
  });
  return all === 0 ? 0 : 2 * (re * re + im * im) / samples.length / all;
}

// A page with the console at the size of its control table.
async function openPage(browser, options = {}) {
  const context = await browser.newContext({viewport: {width: 1000, height: 680}, permissions: ['clipboard-read', 'clipboard-write', 'microphone'], ...options});
  const page = await context.newPage();
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  await page.addInitScript(() => {
    window.seen = [];
    document.addEventListener('DOMContentLoaded', () => {
      const element = document.querySelector('tr450-client');
      for (const name of ['OnLogin', 'sessionstart', 'sessionend']) element.addEventListener(name, () => window.seen.push(name));
      Object.assign(element.style, {flex: 'none', width: '1000px', height: '680px'});
      document.querySelector('aside').style.display = 'none';
    });
  });
  await page.goto(programs.url.href);
  // With its login the console gets its style, and then pictures.
  await until('the login', async () => await seen(page, 'OnLogin') === 1);
  await movingPictures(page);
  return page;
}

async function closePage(page) {
  assert.deepEqual(page.problems, []);
  await page.context().close();
}

const inElement = (page, what, argument) =>
  page.evaluate(([text, value]) => new Function('element', 'value', `return ${text}`)(document.querySelector('tr450-client'), value), [what, argument]);
const frames = (page) => inElement(page, 'element.frames');
const seen = (page, name) => page.evaluate((wanted) => window.seen.filter((event) => event === wanted).length, name);
// Pixels of the console in its own coordinates, whatever the screen's.
const pixels = (page, box) => page.evaluate(([x, y, w, h]) => {
  const {canvas} = document.querySelector('tr450-client');
  const ratio = canvas.width / 1000;
  return [...canvas.getContext('2d').getImageData(x * ratio, y * ratio, Math.ceil(w * ratio), Math.ceil(h * ratio)).data];
}, box);
const isOrange = async (page, x, y) => {
  const [r, g, b] = await pixels(page, [x, y, 1, 1]);
  return r > 190 && g > 110 && g < 190 && b < 130;
};
const changes = async (page, box, what, act) => {
  const before = JSON.stringify(await pixels(page, box));
  await act();
  await until(what, async () => JSON.stringify(await pixels(page, box)) !== before);
};
const STRIP = [700, 70, 98, 12];
const BELOW_MENU = [880, 48, 100, 60];
async function movingPictures(page) {
  const different = new Set();
  await until('moving pictures', async () => different.add(JSON.stringify(await pixels(page, [60, 120, 40, 40]))).size > 3);
}
const singleView = (page) => until('the single view', () => isOrange(page, 700, 70));

// Two pixels to one of the page's: as many are drawn, and the mouse finds its place; as it does in a zoomed page.
async function fineScreen(browser) {
  const page = await openPage(browser, {deviceScaleFactor: 2});
  const size = () => inElement(page, '[element.canvas.width, element.canvas.height, element.canvas.style.width]');
  assert.deepEqual(await size(), [2000, 1360, '1000px']);
  await page.mouse.click(896, 82);
  await singleView(page);
  // Drawn at twice the size, not made larger: no two columns of a button's picture are the same everywhere.
  const button = await pixels(page, [880, 74, 32, 16]);
  const columns = Array.from({length: 64}, (_, x) => Array.from({length: 32}, (_, y) => button[4 * (64 * y + x)]).join());
  assert.ok(columns.some((column, x) => x % 2 === 1 && column !== columns[x - 1]));
  const cdp = await page.context().newCDPSession(page);
  await cdp.send('Emulation.setDeviceMetricsOverride', {width: 1000, height: 680, deviceScaleFactor: 1.5, mobile: false});
  await inElement(page, 'element.sendSize()');
  await until('the other scale', async () => (await size())[0] === 1500);
  await changes(page, BELOW_MENU, 'the menu', () => page.mouse.click(963, 26));
  await closePage(page);
}

async function fingers(browser) {
  const page = await openPage(browser, {hasTouch: true});
  await page.touchscreen.tap(858, 122);
  await until('four views', async () => !(await isOrange(page, 700, 70)));
  await page.touchscreen.tap(896, 82);
  await singleView(page);
  const cdp = await page.context().newCDPSession(page);
  const touch = (type, ...points) => cdp.send('Input.dispatchTouchEvent', {type, touchPoints: points.map(([x, y], id) => ({x, y, id}))});
  // The menu of a cell lies over moving pictures: what does not move there is the menu.
  await touch('touchStart', [300, 300]);
  await touch('touchStart', [300, 300], [340, 300]);
  await touch('touchEnd');
  await until('the menu', async () => {
    const first = JSON.stringify(await pixels(page, [310, 310, 12, 100]));
    await page.waitForTimeout(300);
    return JSON.stringify(await pixels(page, [310, 310, 12, 100])) === first;
  });
  await page.touchscreen.tap(700, 20);
  // Spread, they zoom the picture, and its sign stands in the strip; closed, they undo it.
  const apart = (reach) => [[300 - reach, 300], [300 + reach, 300]];
  const pinch = async (from, to) => {
    await touch('touchStart', apart(from)[0]);
    await touch('touchStart', ...apart(from));
    for (let step = 1; step <= 8; ++step) await touch('touchMove', ...apart(from + (to - from) * step / 8));
    await touch('touchEnd');
  };
  const ink = async () => (await pixels(page, STRIP)).filter((red, i) => i % 4 === 0 && red < 120).length;
  const before = await ink();
  await pinch(40, 160);
  await until('the zoom', async () => await ink() > 1.5 * before);
  await pinch(160, 20);
  await until('its end', async () => await ink() < 1.2 * before);
  await closePage(page);
}

// Dark, unless the page's own style, or its user's need of contrast, has it another way.
async function looks(browser) {
  const page = await openPage(browser, {colorScheme: 'light'});
  const panel = async () => (await pixels(page, [810, 400, 1, 1])).slice(0, 3).reduce((sum, part) => sum + part, 0) / 3;
  const shows = (what, isSo) => until(what, async () => isSo(await panel()));
  await shows('the dark look', (light) => light > 10 && light < 60);
  await inElement(page, 'element.style.colorScheme = "light dark"');
  await page.emulateMedia({colorScheme: 'light', contrast: 'more'});
  await shows('strong contrast', (light) => light < 10);
  await page.emulateMedia({colorScheme: 'light', contrast: 'no-preference'});
  await shows('the light look', (light) => light > 200);
  await page.emulateMedia({colorScheme: 'dark', contrast: 'no-preference'});
  await shows('the dark look again', (light) => light > 10 && light < 60);
  await closePage(page);
}

async function textAndClipboard(browser) {
  const page = await openPage(browser);
  // Options, further recorders, add: its second field has the focus.
  for (const [x, y] of [[896, 640], [343, 345], [827, 207]]) {
    await changes(page, [420, 222, 100, 20], 'a dialog', () => page.mouse.click(x, y));
  }
  await until('the field', () => inElement(page, 'element.field.inputMode').then((mode) => mode === 'text'));
  const clipboard = () => page.evaluate(() => navigator.clipboard.readText());
  const copied = async (text) => {
    await page.keyboard.press('Control+a');
    await page.keyboard.press('Control+c');
    await until(`the text ${text}`, async () => await clipboard() === text).catch(async (error) => {
      throw new Error(`${error.message}, but: ${await clipboard()}`);
    });
  };
  await page.keyboard.type('Tor-2 ß');
  await page.keyboard.insertText('日本');
  const cdp = await page.context().newCDPSession(page);
  await cdp.send('Input.imeSetComposition', {text: '´', selectionStart: 1, selectionEnd: 1});
  await cdp.send('Input.insertText', {text: 'é'});
  await copied('Tor-2 ß日本é');
  await page.evaluate(() => navigator.clipboard.writeText('10.0.0.7 Büro'));
  await page.keyboard.press('Control+v');
  await page.evaluate(() => navigator.clipboard.writeText(''));
  await copied('10.0.0.7 Büro');
  await closePage(page);
}

async function wholeScreen(browser) {
  const page = await openPage(browser);
  const isFull = () => page.evaluate(() => document.fullscreenElement === document.querySelector('tr450-client'));
  await changes(page, [820, 60, 150, 40], 'the pictures over all', () => page.mouse.click(895, 241));
  await until('the whole screen', isFull);
  await page.evaluate(() => document.exitFullscreen());
  await until('the console', async () => {
    const [r, g, b] = await pixels(page, [830, 570, 1, 1]);
    return r > 8 && r < 40 && g < 50 && b < 60;  // not the black of a cell
  });
  await page.mouse.click(896, 82);
  await singleView(page);
  await closePage(page);
}

async function nobodySees(browser) {
  const page = await openPage(browser);
  await inElement(page, "element.style.marginTop = '5000px'");
  await until('no more frames', async () => {
    const before = await frames(page);
    await page.waitForTimeout(700);
    return await frames(page) === before;
  });
  const before = await frames(page);
  await inElement(page, "element.style.marginTop = ''");
  await until('frames again', async () => await frames(page) > before + 5);
  await closePage(page);
}

// What goes to the loudspeaker is the recorder's tone, without gaps.
async function loudspeaker(browser) {
  const page = await openPage(browser);
  await page.evaluate(() => {
    window.heard = [];
    const connect = AudioNode.prototype.connect;
    AudioNode.prototype.connect = function(to, ...rest) {
      if (to === this.context.destination) {
        // All sources of a context meet in one that listens.
        let tap = this.context.tap;
        if (!tap) {
          tap = this.context.tap = this.context.createScriptProcessor(1024, 1, 1);
          tap.onaudioprocess = ({inputBuffer}) => window.heard.push(...inputBuffer.getChannelData(0));
          connect.call(tap, to);
        }
        connect.call(this, tap);
      }
      return connect.call(this, to, ...rest);
    };
  });
  await page.mouse.click(896, 82);
  const second = await until('a second of the tone', async () => {
    const heard = await page.evaluate(() => window.heard);
    const last = heard.slice(-RATE);
    return last.length === RATE && toneShare(last, TONE, RATE) > 0.98 && last;
  });
  const loudest = Math.max(...second.map(Math.abs));
  assert.ok(loudest > 0.25 && loudest < 0.35, `loudness ${loudest}`);
  await closePage(page);
}

// Talk-back: what the page's microphone hears is what the recorder got.
async function microphone(browser) {
  const page = await openPage(browser);
  await page.mouse.click(914, 373);
  const talk = () => readdirSync(programs.folder).find((name) => /^talk-.*\.wav$/.test(name));
  await until('two seconds of the voice', () => talk() && readFileSync(join(programs.folder, talk())).length > 2 * 2 * RATE);
  await page.keyboard.press('Escape');
  const bytes = readFileSync(join(programs.folder, talk())).subarray(44);
  const samples = Array.from({length: Math.floor(bytes.length / 2)}, (_, i) => bytes.readInt16LE(2 * i));
  const best = Math.max(...Array.from({length: 8}, (_, i) => toneShare(samples.slice(i * RATE / 4, (i + 1) * RATE / 4), VOICE, RATE)));
  assert.ok(best > 0.9, `share of the tone ${best}`);
  await until('the microphone to be let go', () => inElement(page, 'element.recorder.recording === null'));
  await closePage(page);
}

// A microphone that the page's user refuses, that is pulled out, or that is switched off: the console hears of it,
// and lets it go.
async function noMicrophone(browser) {
  const asks = (page) => page.evaluate(() => {
    const {recorder} = document.querySelector('tr450-client');
    window.told = [];
    const {start, stop} = recorder;
    recorder.start = () => { window.told.push('on'); start.call(recorder); };
    recorder.stop = () => { window.told.push('off'); stop.call(recorder); };
  });
  const ended = (page) => until('the end of the talk', () => page.evaluate(() => {
    const from = window.told.indexOf('on');
    return from >= 0 && window.told.slice(from + 1).filter((what) => what === 'off').length >= 3;
  }), 8000);
  const ways = {
    refused: () => { navigator.mediaDevices.getUserMedia = () => Promise.reject(new DOMException('refused', 'NotAllowedError')); },
    gone: () => {
      const {getUserMedia} = navigator.mediaDevices;
      navigator.mediaDevices.getUserMedia = async (what) => {
        const stream = await getUserMedia.call(navigator.mediaDevices, what);
        setTimeout(() => stream.getAudioTracks()[0].dispatchEvent(new Event('ended')), 500);
        return stream;
      };
    },
    'switched off': () => {
      const {getUserMedia} = navigator.mediaDevices;
      navigator.mediaDevices.getUserMedia = async (what) => {
        const stream = await getUserMedia.call(navigator.mediaDevices, what);
        setTimeout(() => stream.getAudioTracks()[0].dispatchEvent(new Event('mute')), 500);
        return stream;
      };
    },
  };
  for (const [name, way] of Object.entries(ways)) {
    const page = await openPage(browser);
    const warnings = [];
    page.on('console', (message) => warnings.push(message.text()));
    await page.evaluate(way);
    await asks(page);
    await page.mouse.click(914, 373);
    await ended(page).catch((error) => { throw new Error(`${name}: ${error.message}`); });
    assert.ok(warnings.some((text) => text.startsWith('microphone: ')), name);
    await closePage(page);
  }
}

// The element says that the connection is gone, and comes back by itself, logged in as before.
async function reconnecting(browser) {
  const page = await openPage(browser);
  const notice = () => inElement(page, 'element.notice.textContent');
  assert.equal(await inElement(page, 'element.SetLanguage(6)'), 1);
  process.kill(programs.sessions()[0], 'SIGKILL');
  await until('the second session', async () => await seen(page, 'sessionstart') === 2);
  assert.equal(await seen(page, 'sessionend'), 1);
  assert.equal(await inElement(page, 'element.GetLanguage()'), 6);
  await until('pictures again', async () => !(await inElement(page, "element.canvas.classList.contains('lost')")));

  await programs.stopHost();
  await until('the notice', async () => await notice() === 'Die Verbindung zur Konsole ist unterbrochen. Sie wird wieder aufgebaut...');
  assert.ok(await inElement(page, "element.canvas.classList.contains('lost')"));
  await until('tries', async () => await notice() === 'Die Konsole ist nicht erreichbar. Es wird weiter versucht...');
  const before = await frames(page);
  await startHost();
  await until('frames', async () => await frames(page) > before + 10);
  assert.equal(await notice(), '');
  assert.equal(await seen(page, 'sessionend'), 2);
  await closePage(page);
}

const startHost = () => programs.startHost(
    ['--auth', '-', '--auto-start', '--web-token-file', join(programs.folder, 'token')], CREDENTIAL + '\n',
    programs.url?.host);

await runTests(programs, async (test, launch) => {
  writeFileSync(voice, waveFile(VOICE, 2));
  writeFileSync(join(programs.folder, 'token'), '0123456789abcdef0123456789abcdef\n', {mode: 0o600});
  await programs.startRecorder(config);
  await startHost();
  const browser = await launch(['--use-fake-ui-for-media-stream', '--use-fake-device-for-media-stream',
    `--use-file-for-fake-audio-capture=${voice}`]);
  for (const act of [fineScreen, fingers, looks, textAndClipboard, wholeScreen, nobodySees, loudspeaker, microphone, noMicrophone, reconnecting]) {
    await test(act.name, () => act(browser));
    await until('the session to end', () => programs.sessions().length === 0);
  }
});
