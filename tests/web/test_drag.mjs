// Cells of a page that change places, by the mouse and by a finger, and what ends a drag in the middle.
import assert from 'node:assert/strict';
import {writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const RESTED_MS = 800;  // longer than a finger has to rest
const programs = new Programs();
const CREDENTIAL = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');
// Each has a scene of its own; in its corner stands its number, dark on yellow.
const config = `
[[users]]
name = "${USER}"
password = "${PASSWORD}"
` + [1, 2, 3, 4].map((n) => `
[[channels]]
name = "Camera ${n}"
streams = [{ codec = "mjpeg", width = 368, height = 240, fps = 10 }]
`).join('');

// The four cells, the buttons of two styles, and a place in the last cell from where the ghost is seen beside it.
const CELLS = [[20, 66], [411, 66], [20, 340], [411, 340]];
const FOUR = [858, 122], SINGLE = [896, 82];
const middle = (cell) => [CELLS[cell][0] + 180, CELLS[cell][1] + 130];
const BESIDE = [790, 500], GHOST = [806, 520, 2, 40], MARK = [412, 450, 3, 20];

const pixels = (page, box) => page.evaluate(([x, y, w, h]) =>
  [...document.querySelector('tr450-client').canvas.getContext('2d').getImageData(x, y, w, h).data], box);
async function average(page, box) {
  const bytes = await pixels(page, box);
  return [0, 1, 2].map((channel) => bytes.filter((_, i) => i % 4 === channel).reduce((sum, n) => sum + n, 0) * 4 / bytes.length);
}
const isYellow = async (page, box) => {
  const [r, g, b] = await average(page, box);
  return r > 180 && g > 165 && r - b > 60;
};
const isOrange = async (page, box) => {
  const [r, g, b] = await average(page, box);
  return r > 190 && g > 110 && g < 165 && b < 130;
};
const isActive = (page, cell) => isOrange(page, [CELLS[cell][0] + 150, CELLS[cell][1] + 4, 100, 8]);
const number = (page, cell) => pixels(page, [CELLS[cell][0] + 3, CELLS[cell][1] + 23, 22, 16]);
const isDimmed = async (page, cell) => (await average(page, [CELLS[cell][0] + 3, CELLS[cell][1] + 23, 22, 16]))[0] < 110;
const isSingle = (page) => isOrange(page, [700, 70, 20, 4]);
const hasGhost = (page) => isYellow(page, GHOST);
const isMarked = (page) => isYellow(page, MARK);

// The cameras' numbers in the order of their cells.
async function order(page) {
  const shown = await Promise.all(CELLS.map((_, cell) => number(page, cell)));
  return shown.map((bytes) => {
    const apart = page.numbers.map((known) => known.reduce((sum, value, i) => sum + Math.abs(value - bytes[i]), 0));
    return 1 + apart.indexOf(Math.min(...apart));
  }).join('');
}
const hasOrder = (page, wanted) => until(`the order ${wanted}`, async () => await order(page) === wanted);

const isBright = async (page) => {
  for (const cell of CELLS.keys()) {
    if (!await isYellow(page, [CELLS[cell][0] + 3, CELLS[cell][1] + 23, 22, 3])) return false;
  }
  return true;
};
// The picture of four cells with nothing above it.
const isPlain = async (page) => !await hasGhost(page) && !await isMarked(page) && await isBright(page);
async function staysAs(page, wanted) {
  await until('the plain picture', () => isPlain(page));
  await page.waitForTimeout(300);
  assert.ok(await isPlain(page));
  assert.equal(await order(page), wanted);
}

async function openPage(browser, known) {
  const context = await browser.newContext({viewport: {width: 1000, height: 680}, hasTouch: true});
  const page = await context.newPage();
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  await page.addInitScript(() => document.addEventListener('DOMContentLoaded', () => {
    const element = document.querySelector('tr450-client');
    Object.assign(element.style, {flex: 'none', width: '1000px', height: '680px'});
    document.querySelector('aside').style.display = 'none';
  }));
  await page.goto(programs.url.href);
  await showFour(page);
  page.numbers = known ?? await Promise.all(CELLS.map((_, cell) => number(page, cell)));
  const cdp = await context.newCDPSession(page);
  page.fingers = (type, ...points) => cdp.send('Input.dispatchTouchEvent', {type, touchPoints: points.map(([x, y], id) => ({x, y, id}))});
  return page;
}

async function showFour(page) {
  const areThere = async () => !await isSingle(page) && await isBright(page);
  await until('four pictures', async () => {
    if (await areThere()) return true;
    await page.mouse.click(...FOUR);
    // Each click has the streams begin anew, for which a busy machine takes a while.
    for (let i = 0; i < 25 && !await areThere(); ++i) await page.waitForTimeout(200);
    return false;
  });
}

async function closePage(page) {
  assert.deepEqual(page.problems, []);
  await page.context().close();
}

const way = ([x0, y0], [x1, y1]) => [1, 2, 3, 4, 5].map((n) => [x0 + (x1 - x0) * n / 5, y0 + (y1 - y0) * n / 5]);

async function pressMouse(page, cell) {
  await page.mouse.move(...middle(cell));
  await page.mouse.down();
}
async function dragMouse(page, from, to) {
  await pressMouse(page, from);
  for (const place of way(middle(from), to)) await page.mouse.move(...place);
}
const isDragged = (page, cell) => until('the drag', async () =>
  await isDimmed(page, cell) && await isMarked(page) && await hasGhost(page));

// The host's order, and that of its next session.
async function byMouse(page) {
  await dragMouse(page, 0, BESIDE);
  await isDragged(page, 0);
  assert.equal(await page.evaluate(() => document.querySelector('tr450-client').canvas.style.cursor), 'grabbing');
  await page.mouse.up();
  await hasOrder(page, '4231');
  await staysAs(page, '4231');
  await page.reload();
  await showFour(page);
  await staysAs(page, '4231');
  await dragMouse(page, 0, BESIDE);
  await page.mouse.up();
  await staysAs(page, '1234');
}

async function byFinger(page) {
  const rest = async (cell) => {
    await page.fingers('touchStart', middle(cell));
    await until('the cell to be held', () => isDimmed(page, cell));
  };
  const drag = async (from, to) => {
    await rest(from);
    for (const place of way(middle(from), to)) await page.fingers('touchMove', place);
    await isDragged(page, from);
  };
  const thereAndBack = async () => {
    await drag(0, BESIDE);
    await page.fingers('touchEnd');
    await hasOrder(page, '4231');
    await drag(0, BESIDE);
    await page.fingers('touchEnd');
    await staysAs(page, '1234');
  };
  // One that moves at once drags nothing, however long it stays.
  const swipe = [['touchStart', middle(0)], ...way(middle(0), BESIDE).map((place) => ['touchMove', place])];
  await Promise.all(swipe.map(([type, place]) => page.fingers(type, place)));
  await page.waitForTimeout(RESTED_MS);
  assert.ok(await isPlain(page));
  await page.fingers('touchEnd');
  await staysAs(page, '1234');

  await thereAndBack();

  // A rest without a move opens the cell's menu.
  await rest(1);
  await page.fingers('touchEnd');
  await page.waitForTimeout(RESTED_MS);
  await page.keyboard.press('Escape');
  await staysAs(page, '1234');
  await until('the active cell', () => isActive(page, 1));
  await page.touchscreen.tap(...middle(2));
  await until('the active cell', () => isActive(page, 2));

  // A second finger, and a screen that takes the finger away, give it up.
  await drag(0, BESIDE);
  await page.fingers('touchStart', BESIDE, [300, 500]);
  await until('the plain picture', () => isPlain(page));
  await page.fingers('touchEnd');
  await staysAs(page, '1234');
  await drag(0, BESIDE);
  await page.fingers('touchCancel');
  await staysAs(page, '1234');
  // Then fingers do what they did.
  await thereAndBack();
  await page.touchscreen.tap(...SINGLE);
  await until('the single view', () => isSingle(page));
  await page.touchscreen.tap(...FOUR);
  await staysAs(page, '1234');
}

async function endsInTheMiddle(page) {
  const ways = {
    Escape: () => page.keyboard.press('Escape'),
    'another window': () => page.evaluate(() => document.querySelector('tr450-client').field.blur()),
    'outside of it': () => page.mouse.move(995, 670),
  };
  for (const [what, end] of Object.entries(ways)) {
    await dragMouse(page, 0, BESIDE);
    await isDragged(page, 0);
    await end();
    if (what === 'outside of it') await page.mouse.up();
    await until(`the end by ${what}`, () => isPlain(page));
    await page.mouse.up();
    await staysAs(page, '1234');
  }

  await dragMouse(page, 0, BESIDE);
  await isDragged(page, 0);
  await page.reload();
  await showFour(page);
  await staysAs(page, '1234');
  await page.mouse.up();
  await staysAs(page, '1234');

  await dragMouse(page, 0, BESIDE);
  await isDragged(page, 0);
  programs.host.kill('SIGINT');
  assert.equal(await programs.host.ended, 0);
  const isBlack = async (box) => (await pixels(page, box)).every((byte, i) => byte === (i % 4 === 3 ? 255 : 0));
  await until('nothing of the drag', async () => await isBlack(GHOST) && await isBlack(MARK));
  await startHost();
  await until('the next session', async () => !await page.evaluate(() => document.querySelector('tr450-client').canvas.classList.contains('lost')));
  await page.mouse.up();
  await showFour(page);
  await staysAs(page, '1234');
  await dragMouse(page, 0, BESIDE);
  await page.mouse.up();
  await hasOrder(page, '4231');
}

const startHost = () => programs.startHost(
    ['--auth', '-', '--auto-start', '--web-token-file', join(programs.folder, 'token')], CREDENTIAL + '\n',
    programs.url?.host);

await runTests(programs, async (test, launch) => {
  writeFileSync(join(programs.folder, 'token'), '0123456789abcdef0123456789abcdef\n', {mode: 0o600});
  await programs.startRecorder(config);
  await startHost();
  const browser = await launch();
  for (const act of [byMouse, byFinger, endsInTheMiddle]) {
    await test(act.name, async () => {
      const page = await openPage(browser);
      await act(page);
      await closePage(page);
    });
    await until('the session to end', () => programs.sessions().length === 0);
  }
});
