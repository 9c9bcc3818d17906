// A page's console that decodes on a device, which is a driver of the tests': its pictures are even greys.
import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {existsSync, readFileSync} from 'node:fs';
import {join} from 'node:path';
import {PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const WIDTH = 1280;
const HEIGHT = 720;
const programs = new Programs();
const log = join(programs.folder, 'read');
const config = `
[[users]]
name = "${USER}"
password = "${PASSWORD}"
[[channels]]
name = "Camera 1"
streams = [{ codec = "h264", width = ${WIDTH}, height = ${HEIGHT}, fps = 5 }]
`;

// libva reaches a driver without a device by a display alone.
async function startDisplay() {
  const display = spawn('Xvfb', ['-displayfd', '1', '-nolisten', 'tcp'], {stdio: ['ignore', 'pipe', 'ignore']});
  let number = '';
  display.stdout.on('data', (data) => { number += data; });
  await until('a display', () => number.endsWith('\n'));
  return {number: number.trim(), end: () => display.kill('SIGTERM')};
}

const sizesRead = () => (existsSync(log) ? readFileSync(log, 'utf8') : '').split('\n').filter(Boolean)
    .map((line) => line.split('x').map(Number));

async function greyPictures(browser) {
  const page = await browser.newPage({viewport: {width: 1300, height: 720}});
  await page.goto(programs.url.href);
  await until('grey pictures', () => page.evaluate(() => {
    const canvas = document.querySelector('tr450-client')?.canvas;
    const at = (x, y) => [...canvas.getContext('2d').getImageData(x, y, 1, 1).data];
    if (!canvas?.width) return false;
    const [r, g, b] = at(100, 180);
    return r > 20 && r === g && g === b && String(at(100, 180)) === String(at(300, 220));
  }));
  const before = sizesRead().length;
  const sizes = await until('more of them', () => sizesRead().length > before + 2 && sizesRead().slice(before));
  for (const [width, height] of sizes) assert.ok(width < WIDTH && height < HEIGHT, `${width}x${height}`);
  await page.close();
}

const display = await startDisplay();
await runTests(programs, async (test, launch) => {
  await programs.startRecorder(config);
  await programs.startHost(['--hwdec', 'vaapi', '--auth', '-', '--auto-start'], `${Buffer.from(`${USER}:${PASSWORD}`).toString('base64')}\n`,
      '127.0.0.1:0', {DISPLAY: `:${display.number}`, LIBVA_DRIVERS_PATH: process.env.KV_VA_DRIVERS, LIBVA_DRIVER_NAME: 'kvtest', KVTEST_VA_LOG: log});
  const browser = await launch();
  await test(greyPictures.name, () => greyPictures(browser));
});
display.end();
