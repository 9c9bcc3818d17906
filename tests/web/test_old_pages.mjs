// Pages as they were written for the control's <object>: with the script's line in front they work as they stand.
import assert from 'node:assert/strict';
import {createServer} from 'node:http';
import {PASSWORD, Programs, runSiteTests, until, USER} from './programs.mjs';

const programs = new Programs();
const CREDENTIAL = Buffer.from(`${USER}:${PASSWORD}`).toString('base64');
const CLASS = 'clsid:00000000-0000-0000-0000-000000000000';

const script = () => `<script src="${programs.url.origin}/kvmon.js?token=${programs.token}"></script>`;
const params = () => `<param name="ServerIP" value="127.0.0.1"><param name="serverport" value="${programs.recorderPort}">`;

const pages = {};
const site = createServer((request, response) => {
  const send = pages[request.url];
  response.setHeader('Content-Type', 'text/html');
  if (typeof send === 'string') response.end(send);
  else if (send) send(response);
  else response.writeHead(404).end();
});

async function open(browser, content) {
  pages['/'] = content;
  const page = await browser.newPage({viewport: {width: 1100, height: 720}});
  page.warnings = [];
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(error.message));
  page.on('console', (message) => { if (message.type() === 'warning') page.warnings.push(message.text()); });
  await page.goto(`http://127.0.0.1:${site.address().port}/`, {waitUntil: 'commit'});
  return page;
}

async function close(page) {
  assert.deepEqual(page.problems, []);
  await page.close();
  await until('the session to end', () => programs.sessions().length === 0);
}

const value = (page, text) => page.evaluate(text);
const moving = async (page) => {
  const seen = new Set();
  await until('pictures', async () => seen.add(await value(page, `(() => {
    const {canvas} = document.querySelector('tr450-client');
    return canvas.getContext('2d').getImageData(60, 120, 60, 60).data.reduce((sum, byte) => (sum * 31 + byte) | 0, 7);
  })()`)).size > 3);
};

// Scripts behind the object call and set at once, by its name in the document, in letters of any case; handlers
// stand before and behind it, and one is in a language that no browser runs.
async function asWritten(browser) {
  const page = await open(browser, `<html><head>${script()}</head><body>
    <script for="mon" event="onlogin(n)" language="VBScript">MsgBox "in: " & n</script>
    <script for="mon" event="OnLogin(n)">this is no script</script>
    <script for="MON" event="onLogin(n)" language="JScript"><!--
      window.first = 'by ' + n;
    //--></script>
    <form name="f" action="/nowhere">
    <object id="mon" name="monitor" classid="${CLASS}" codebase="mon.cab#1,0,0,1" width="1000" height="680">
      ${params()}<embed src="none"></object></form>
    <script language="JavaScript">
      window.same = [document.mon, document.monitor, mon, monitor, document.all.mon, document.f.mon].every((one) => one === document.getElementById('mon'));
      mon.authdata = '${CREDENTIAL}';
      document.mon.HELPPATH = '/help';
      document.mon.AutoLogin(mon.AuthData);
      mon.object.attachEvent('onLogin', function(n) { throw new Error('of a handler'); });
      mon.attachEvent('ONLOGIN', function(n) { window.second = n; });
      window.answers = [mon.GetLanguage() == 0, mon.SetLanguage(0) == 1, mon.CheckCamera('a', '80', 1, 'u', 'p') == 0,
        mon.CheckCamera('a', 80, 1, 'u', 'p') == 0, mon.Command(0x777) == 0];
      mon.getlanguage().then(function(n) { window.language = n; });
    </script>
    <script for="mon" event="OnLogin(n)">window.last = n + 1;</script>
    </body></html>`);
  await until('the login', () => value(page, 'window.first === "by 0" && window.second === 0 && window.last === 1'));
  await moving(page);
  assert.equal(await value(page, 'same'), true);
  assert.equal(await value(page, 'window.language'), 0);
  assert.deepEqual(await value(page, 'window.answers'), [true, true, true, false, true]);
  assert.deepEqual(await value(page, '[mon.ServerIP, mon.SERVERPORT, mon.helppath, mon.readyState, mon.LANGUAGE]'),
      ['127.0.0.1', Number(programs.recorderPort), '/help', 4, '0']);
  assert.equal(page.warnings.filter((text) => /a handler of OnLogin is left out/.test(text)).length, 2, String(page.warnings));
  assert.deepEqual(page.problems.splice(0), ['of a handler']);
  assert.equal(await value(page, 'mon instanceof HTMLElement && mon.clientWidth'), 1000);
  await close(page);
}

// A page without parameters, whose script writes the object; and one that has it in hand before it is taken over.
async function writtenByScript(browser) {
  const page = await open(browser, `<html><head>${script()}</head><body><script>
      document.write('<object id="mon" classid="${CLASS}" width="1000" height="680"></object>');
      var held = document.getElementById('mon');
      held.ServerIP = '127.0.0.1';
      held.serverPort = ${programs.recorderPort};
      held.Login('${USER}', '${PASSWORD}').then(function(n) { window.result = n; });
    </script>
    <script for="mon" event="OnLogin(n)">window.loggedIn = n;</script></body></html>`);
  await until('the login', () => value(page, 'window.loggedIn === 0 && window.result === 0'));
  await moving(page);
  assert.equal(await value(page, 'held.GETLANGUAGE()'), 0);
  assert.equal(await value(page, 'held.serverIP'), '127.0.0.1');
  await close(page);
}

// Objects that come later, one over the other; another control's object stays what it is.
async function setLater(browser) {
  const page = await open(browser, `<html><head>${script()}</head><body><div id="place"></div>
    <script for="late" event="OnLogin(n)">window.loggedIn = (window.loggedIn || 0) + 1;</script>
    <object id="player" classid="${CLASS}"><param name="AutoStart" value="1"><param name="URL" value="x.avi"></object>
    </body></html>`);
  await page.waitForLoadState();
  const text = `<table><tr><td><object id="late" classid="${CLASS}" width="1000" height="680">${params()}
      <param name="AuthData" value="${CREDENTIAL}"><param name="AutoStart" value="1"></object></td></tr></table>`;
  await page.evaluate((html) => { document.getElementById('place').innerHTML = html; }, text);
  await until('the login', () => value(page, 'window.loggedIn === 1'));
  await moving(page);
  assert.equal(await value(page, 'document.late.tagName'), 'TR450-CLIENT');
  assert.equal(await value(page, 'player.tagName'), 'OBJECT');
  assert.equal(await value(page, 'player.Login === undefined && player.style !== undefined'), true);
  await page.evaluate(() => { document.getElementById('place').textContent = ''; });
  await until('the end of it', () => programs.sessions().length === 0);
  assert.equal(await value(page, 'document.late'), undefined);
  await close(page);
}

// The page comes in pieces: an object is taken over when all of it is there, and nothing of its page is lost.
async function inPieces(browser) {
  let rest;
  const page = await open(browser, (response) => {
    response.write(`<html><head>${script()}</head><body>
      <object id="mon" classid="${CLASS}" width="1000" height="680"><param name="ServerIP" value="127.0.0.1">${' '.repeat(4096)}`);
    rest = (text, end) => (end ? response.end(text) : response.write(text));
  });
  await until('the first piece', () => value(page, 'document.querySelector("param") !== null').catch(() => false));
  assert.equal(await value(page, 'mon.tagName'), 'OBJECT');
  rest(`<param name="ServerPort" value="${programs.recorderPort}"></object><script>
      mon.Login('${USER}', '${PASSWORD}');
      window.called = true;</script>${' '.repeat(4096)}`);
  await until('the second piece', () => value(page, 'window.called'));
  assert.equal(await value(page, 'window.loggedIn'), undefined);
  rest('<script for="mon" event="OnLogin(n)">window.loggedIn = n;</script></body></html>', true);
  await until('the login', () => value(page, 'window.loggedIn === 0'));
  assert.equal(await value(page, 'mon.ServerPort'), Number(programs.recorderPort));
  await close(page);
}

await runSiteTests(programs, site, [asWritten, writtenByScript, setLater, inPieces]);
