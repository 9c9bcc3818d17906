// The web host at its limits: many pages, pages that go in the middle of something, pages that do not read.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {connect, createServer} from 'node:net';
import {PageSocket} from './page_socket.mjs';
import {count, PASSWORD, Programs, runTests, until, USER} from './programs.mjs';

const MAX_SESSIONS = 16;
const MAX_CONNECTIONS = 64;
const AUTH = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');
const MENU = [963, 26], OPTIONS = [896, 640], LOGOUT = [964, 640];

const programs = new Programs();
const open = () => PageSocket.open(programs.url.port, programs.token);
const noSessions = () => until('all sessions to end', () => programs.sessions().length === 0);
const residentKb = (pid) => Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]);
const children = (pid) => readFileSync(`/proc/${pid}/task/${pid}/children`, 'utf8').split(' ').filter(Boolean);
const wait = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

async function watching() {
  const page = await open();
  page.show();
  await page.call('AutoLogin', AUTH);
  const before = page.frames;
  await until('pictures', () => page.frames > before + 20);
  return page;
}

async function sixteenSessions() {
  const pages = await Promise.all(Array.from({length: MAX_SESSIONS}, open));
  assert.ok(pages.every((page) => page instanceof PageSocket));
  assert.equal(await open(), 503);
  assert.equal(programs.sessions().length, MAX_SESSIONS);
  // Each is one of its own.
  await Promise.all(pages.map((page, i) => page.call('put.ServerPort', 1000 + i)));
  assert.deepEqual(await Promise.all(pages.map((page) => page.call('get.ServerPort'))), pages.map((page, i) => 1000 + i));
  // One that breaks takes no other with it, and its place is free again.
  process.kill(Number(programs.sessions()[3]), 'SIGKILL');
  await Promise.race(pages.map((page) => page.closed));
  const next = await until('the free place', async () => { const page = await open(); return page !== 503 && page; });
  const alive = pages.filter((page) => !page.isClosed);
  assert.equal(alive.length, MAX_SESSIONS - 1);
  assert.deepEqual(await Promise.all(alive.map((page) => page.call('GetLanguage'))), alive.map(() => 0));
  await Promise.all([...alive, next].map((page) => page.drop()));
  await noSessions();
}

// Connections that say nothing, or half of it, make room for a page: the oldest first. They all come before the host
// takes in one: what the system had no room for would be open for its peer alone, and for good.
async function idleConnections() {
  programs.host.kill('SIGSTOP');
  const sockets = Array.from({length: 3 * MAX_CONNECTIONS}, (_, i) => {
    const socket = connect(programs.url.port, '127.0.0.1').on('error', () => {});
    if (i % 2) socket.write('GET /kvmon.js HTTP/1.1\r\nHost: ');
    return socket;
  });
  const closed = sockets.map((socket) => new Promise((resolve) => socket.resume().on('close', resolve)));
  // One that is dropped at once may hear of nothing else.
  await Promise.all(sockets.map((socket) => new Promise((resolve) => socket.on('connect', resolve).on('close', resolve))));
  programs.host.kill('SIGCONT');
  const page = await open();
  assert.equal(await page.call('GetLanguage'), 0);
  await Promise.all(closed);
  await page.drop();
  await noSessions();
}

// The largest picture at one pixel to a unit and at four, in turn and at once.
async function sizesInTurn() {
  const page = await open();
  page.show();
  await page.call('GetLanguage');
  const size = (ratio) => page.send(2, [1, 255, 255, 255, 255, ratio & 255, ratio >> 8]);
  for (let i = 0; i < 4; ++i) { size(400); size(100); }
  await page.call('GetLanguage');
  const [session] = programs.sessions();
  const mostMb = Number(/VmHWM:\s+(\d+)/.exec(readFileSync(`/proc/${session}/status`, 'utf8'))[1]) / 1024;
  assert.ok(mostMb < 700, `${mostMb} MB`);
  await page.drop();
  await noSessions();
}

async function pagesThatGo() {
  const goneIn = {
    menu: async (page) => page.click(...MENU),
    dialog: async (page) => page.click(...OPTIONS),
    'dialog in a menu': async (page) => { page.click(...MENU); page.click(...OPTIONS); page.click(...OPTIONS); },
    login: async (page) => { page.call('Logout'); page.call('AutoLogin', AUTH); },
    language: async (page) => page.call('SetLanguage', 6),
    'a held button': async (page) => page.send(2, [3, 0x80, 3, 0x83, 1, 0, 1, 0]),
  };
  for (const [what, action] of Object.entries(goneIn)) {
    const page = await watching();
    const before = page.frames;
    await action(page);
    await until(`a picture of the ${what}`, () => page.frames > before);
    await page.drop();
    await noSessions().catch((error) => { throw new Error(`${what}: ${error.message}`); });
  }
}

// The page hears of a logout, once, before its session ends.
async function logoutIsTold() {
  const page = await watching();
  page.click(...LOGOUT);
  await until('the logout', () => page.events.some(([name]) => name === 'OnLogout'));
  page.click(10, 10);
  process.kill(Number(programs.sessions()[0]), 'SIGTERM');
  await page.closed;
  // The window around the page may be told of something, too.
  assert.deepEqual(page.events.filter(([name]) => name.startsWith('On')), [['OnLogin', 0], ['OnLogout', 0]]);
  await noSessions();
}

// Nothing is read any more: what the session keeps for the page stays small, and requests end it.
async function aPageThatDoesNotRead() {
  const page = await watching();
  const [session] = programs.sessions();
  await page.call('put.HelpPath', 'h'.repeat(100000));
  await until('all that a session needs', () => page.frames > 150);
  const before = residentKb(session);
  page.socket.pause();
  await wait(3000);
  assert.equal(programs.sessions().length, 1);
  assert.ok(residentKb(session) - before < 16 * 1024, `${residentKb(session) - before} KB more`);
  for (let i = 0; i < 600; ++i) page.call('get.HelpPath');
  let most = 0;
  await until('the end of the session', () => {
    try { most = Math.max(most, residentKb(session)); } catch { /* gone */ }
    return programs.sessions().length === 0;
  });
  assert.ok(most - before < 64 * 1024, `${most - before} KB more`);
  await page.drop();
}

// A share on a host that answers nothing: pictures go on, and calls wait for their turn.
async function silentShare(silent) {
  const page = await watching();
  const [session] = programs.sessions();
  const order = [];
  const prepared = page.call('PreparePlaybackData', AUTH, '\\\\127.0.0.1\\recordings').then((result) => { order.push('prepared'); return result; });
  const language = page.call('GetLanguage').then(() => order.push('language'));
  await until('the connection to the share', () => silent.sockets.length === 1);
  const before = page.frames;
  await until('pictures meanwhile', () => page.frames > before + 10);
  assert.deepEqual(order, []);
  silent.sockets.pop().destroy();
  assert.equal(await prepared, -1);
  await language;
  assert.deepEqual(order, ['prepared', 'language']);
  // The page has heard what became of it before the answer.
  assert.deepEqual(page.events.filter(([name]) => name === 'playbackshare'),
      [['playbackshare', '\\\\127.0.0.1\\recordings', 59, '', 'The shared folder could not be connected.']]);
  assert.equal(await page.call('UnpreparePlaybackData'), null);

  // The page goes in the middle of it, and so does all that was started for it.
  page.call('PreparePlaybackData', AUTH, '\\\\127.0.0.1\\recordings+\\\\127.0.0.1\\more');
  await until('the connection to the share', () => silent.sockets.length === 1);
  const [holder] = children(session);
  await page.drop();
  await noSessions();
  await until('the end of the connection', () => silent.sockets[0].destroyed);
  assert.throws(() => process.kill(Number(holder), 0));
  // More calls than a page may have waiting.
  const flood = await open();
  flood.call('PreparePlaybackData', AUTH, '\\\\127.0.0.1\\recordings');
  for (let i = 0; i < 200; ++i) flood.call('GetLanguage');
  await flood.closed;
  await noSessions();
}

const silent = createServer((socket) => silent.sockets.push(socket.on('error', () => {}).resume()));
silent.sockets = [];
await runTests(programs, async (test) => {
  await new Promise((resolve) => silent.listen(0, '127.0.0.1', resolve));
  process.env.KVMON_SMB_PORT = silent.address().port;
  await programs.startRecorder();
  await programs.startHost();
  const held = () => ({threads: count(`/proc/${programs.host.pid}/task`), descriptors: count(`/proc/${programs.host.pid}/fd`)});
  const before = held();
  for (const [name, act] of Object.entries({
    sixteenSessions, idleConnections, sizesInTurn, pagesThatGo, logoutIsTold, aPageThatDoesNotRead, silentShare: () => silentShare(silent),
  })) {
    await test(name, act);
  }
  await until('all threads and descriptors to go', () => JSON.stringify(held()) === JSON.stringify(before));
});
silent.sockets.forEach((socket) => socket.destroy());
silent.close();
