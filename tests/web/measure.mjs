// What the web host costs beside the desktop window, and how long a picture takes from its decoder to the
// page's canvas: four cells at 25 pictures a second.
//   node measure.mjs [SECONDS]
import {loadavg} from 'node:os';
import {launchBrowser, processorMs, Programs, until} from './programs.mjs';

const seconds = Number(process.argv[2] ?? 60);
const config = `
[[users]]
name = "admin"
password = "admin"
${[1, 2, 3, 4].map((n) => `
[[channels]]
name = "Camera ${n}"
streams = [{ codec = "h264", width = 640, height = 480, fps = 25, gop = 50 }]`).join('')}
`;
const auth = ['--auth', '-', '--auto-start'];
const credential = Buffer.from('admin:admin').toString('base64') + '\n';
const wait = (ms) => new Promise((resolve) => setTimeout(resolve, ms));
const share = (ms) => `${(ms / seconds / 10).toFixed(1)} % of a processor`;
const load = () => `load ${loadavg()[0].toFixed(1)}`;

const programs = new Programs();
await programs.startRecorder(config);

const desktop = programs.startDesktop(auth, credential);
await wait(4000);
let before = processorMs(desktop.pid);
await wait(seconds * 1000);
const window = processorMs(desktop.pid) - before;
console.log(`desktop window (off screen): ${share(window)}, ${load()}`);
desktop.kill('SIGTERM');
await desktop.ended;

await programs.startHost(auth, credential);
const browser = await launchBrowser();
const page = await browser.newPage({viewport: {width: 1300, height: 720}});
await page.goto(programs.url.href);
await until('pictures', () => page.evaluate(() => document.querySelector('tr450-client').frames > 20));
const [session] = programs.sessions();
const traces = () => [...programs.host.out.matchAll(/WebSession: (.*)/g)].map((match) => match[1]);
// The session tells of each minute; the first one is that of its start.
await until('the first minute', () => traces().length === 1, 70000);

const cost = () => processorMs(programs.host.pid) + processorMs(session);
const tiles = () => page.evaluate(() => document.querySelector('tr450-client').tiles);
before = cost();
const tilesBefore = await tiles();
await wait(seconds * 1000);
const web = cost() - before;
console.log(`web host with its session: ${share(web)}, ${(web / window).toFixed(2)} times the window, ${load()}`);
console.log(`tiles drawn by the page: ${((await tiles() - tilesBefore) / seconds).toFixed(1)} a second`);
await until('the second minute', () => traces().length === 2, 70000);
console.log(`a minute: ${traces()[1]}`);
await browser.close();
await until('the session to end', () => programs.sessions().length === 0);
await programs.stop();
