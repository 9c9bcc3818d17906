// The programs under test, a browser, and what the tests ask of both.
import {spawn} from 'node:child_process';
import {mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {chromium} from 'playwright-core';

const BIN = process.env.KV_BIN ?? new URL('../../build/bin', import.meta.url).pathname;
export const USER = 'admin';
export const PASSWORD = 'admin';

export async function until(what, condition, ms = 30000) {
  const end = Date.now() + ms;
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (Date.now() > end) throw new Error(`not within ${ms} ms: ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

function start(name, args, input, environment = {}) {
  const child = spawn(join(BIN, name), args, {env: {...process.env, ...environment}});
  child.out = '';
  for (const stream of [child.stdout, child.stderr]) stream.on('data', (data) => { child.out += data; });
  child.stdin.end(input);
  child.ended = new Promise((resolve) => child.on('exit', (code) => resolve(code)));
  return child;
}

async function firstLine(child, pattern) {
  const match = await until(`${child.spawnfile}: ${pattern}`, () => {
    if (child.exitCode !== null) throw new Error(`${child.spawnfile} ended: ${child.out}`);
    return pattern.exec(child.out);
  });
  return match[1];
}

// A recorder, and the web host in front of it; `folder` keeps their files and goes with them.
export class Programs {
  constructor() { this.folder = mkdtempSync(join(tmpdir(), 'kvmon-web-')); }

  async startRecorder(config) {
    const args = ['--listen', '127.0.0.1:0'];
    if (config) {
      writeFileSync(join(this.folder, 'recorder.toml'), config);
      args.push('--config', join(this.folder, 'recorder.toml'));
    }
    this.recorder = start('kvrecorder', args, '');
    this.recorderPort = await firstLine(this.recorder, /listening on .*:(\d+)/);
  }

  clientArguments() {
    return ['--server', '127.0.0.1', '--port', this.recorderPort, '--data-dir', join(this.folder, 'data')];
  }

  async startHost(args = [], input = '', address = '127.0.0.1:0', environment = {}) {
    this.host = start('kvmon', [...this.clientArguments(), '--serve', address, ...args], input,
        {KVMON_DEBUG: '1', HOME: this.folder, XDG_CONFIG_HOME: join(this.folder, 'config'), ...environment});
    this.url = new URL(await firstLine(this.host, /kvmon: open (\S+)/));
    this.token = this.url.searchParams.get('token');
  }

  async stopHost() {
    this.host.kill('SIGTERM');
    await this.host.ended;
  }

  startDesktop(args, input) {
    this.desktop = start('kvmon', [...this.clientArguments(), ...args], input, {QT_QPA_PLATFORM: 'offscreen'});
    return this.desktop;
  }

  // Process numbers of the host's sessions.
  sessions() { return readFileSync(`/proc/${this.host.pid}/task/${this.host.pid}/children`, 'utf8').split(' ').filter(Boolean); }

  async stop() {
    const children = [this.desktop, this.host, this.recorder].filter(Boolean);
    for (const child of children) child.kill('SIGTERM');
    const codes = await Promise.all(children.map((child) => child.ended));
    rmSync(this.folder, {recursive: true, force: true});
    return codes;
  }
}

// Entries of a folder; -1 where only root sees into it, as into the descriptors of a program that holds passwords.
export function count(folder) {
  try { return readdirSync(folder).length; } catch (error) { if (error.code === 'EACCES') return -1; throw error; }
}
// Processor time of a process so far, in milliseconds.
export function processorMs(pid) {
  const fields = readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1].split(' ');
  return (Number(fields[11]) + Number(fields[12])) * 10;
}

export function launchBrowser(args = []) {
  return chromium.launch({
    executablePath: process.env.KV_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--autoplay-policy=no-user-gesture-required', ...args],
  });
}

// Runs `body` with a function that runs one named test, unless the command line names another, and one that
// launches the browser. However it ends, what was started ends.
export async function runTests(programs, body) {
  let browser;
  const test = async (name, act) => {
    if (process.argv[2] && process.argv[2] !== name) return;
    const begin = Date.now();
    await act();
    console.log(`${name}: passed in ${Date.now() - begin} ms`);
  };
  try {
    await body(test, async (args) => browser = await launchBrowser(args));
  } catch (error) {
    console.error(error, `\n--- the host said:\n${programs.host?.out.split('\n').slice(-30).join('\n')}`);
    await browser?.contexts()[0]?.pages()[0]?.screenshot({path: join(tmpdir(), 'kvmon-page.png')});
    process.exitCode = 1;
  } finally {
    await browser?.close();
    const codes = await programs.stop();
    if (codes.some((code) => code !== 0)) {
      console.error(`the programs ended with ${codes}`);
      process.exitCode = 1;
    }
  }
}

// The same with a site of its own whose pages embed the host's console: runs each of `acts` with the browser.
export async function runSiteTests(programs, site, acts) {
  site.listen(0, '127.0.0.1');
  await runTests(programs, async (test, launch) => {
    await programs.startRecorder();
    await programs.startHost(['--web-origin', `http://127.0.0.1:${site.address().port}`]);
    const browser = await launch();
    for (const act of acts) await test(act.name, () => act(browser));
  });
  site.close();
}
