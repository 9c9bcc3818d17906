// A page's connection without a browser: for what no browser would do.
import {randomBytes} from 'node:crypto';
import {request} from 'node:http';

const TEXT = 1, BINARY = 2, PING = 9, PONG = 10;
export const FRAME = 1;

export class PageSocket {
  // The answer's status in place of a socket when the host refuses.
  static open(port, token, headers = {}) {
    return new Promise((resolve, reject) => {
      const call = request({
        host: '127.0.0.1', port, path: `/control?token=${token}`,
        headers: {Connection: 'Upgrade', Upgrade: 'websocket', 'Sec-WebSocket-Version': '13',
          'Sec-WebSocket-Key': randomBytes(16).toString('base64'), ...headers},
      });
      call.on('upgrade', (response, socket, head) => resolve(new PageSocket(socket, head)));
      call.on('response', (response) => { response.resume(); resolve(response.statusCode); });
      call.on('error', reject);
      call.end();
    });
  }

  constructor(socket, head) {
    this.socket = socket;
    this.buffer = head;
    this.events = [];
    this.answers = new Map();
    this.frames = 0;
    this.nextId = 1;
    this.drawsFrames = true;
    this.closed = new Promise((resolve) => socket.on('close', () => { this.isClosed = true; resolve(); }));
    socket.on('error', () => {});
    socket.on('data', (data) => this.take(data));
    if (head.length > 0) this.take(Buffer.alloc(0));
  }

  take(data) {
    this.buffer = Buffer.concat([this.buffer, data]);
    for (;;) {
      let head = 2;
      if (this.buffer.length < head) return;
      let length = this.buffer[1] & 127;
      if (length >= 126) head += length === 126 ? 2 : 8;
      if (this.buffer.length < head) return;
      if (length === 126) length = this.buffer.readUInt16BE(2);
      else if (length === 127) length = Number(this.buffer.readBigUInt64BE(2));
      if (this.buffer.length < head + length) return;
      const payload = this.buffer.subarray(head, head + length);
      this.receive(this.buffer[0] & 15, payload);
      this.buffer = this.buffer.subarray(head + length);
    }
  }

  receive(opcode, payload) {
    if (opcode === TEXT) {
      const message = JSON.parse(payload.toString());
      if (message.method && message.method !== 'properties') this.events.push([message.method, ...message.params]);
      else this.answers.get(message.id)?.(message);
    } else if (opcode === BINARY && payload[0] === FRAME) {
      this.frames += 1;
      if (this.drawsFrames) this.send(BINARY, Buffer.concat([Buffer.from([8]), payload.subarray(1, 5)]));
    } else if (opcode === PING) {
      this.send(PONG, payload);
    }
  }

  send(opcode, payload) {
    const bytes = Buffer.from(payload);
    const head = bytes.length < 126 ? Buffer.from([0x80 | opcode, 0x80 | bytes.length])
      : Buffer.from([0x80 | opcode, 0x80 | 127, 0, 0, 0, 0, 0, 0, 0, 0]);
    if (bytes.length >= 126) head.writeUInt32BE(bytes.length, 6);
    return this.socket.write(Buffer.concat([head, Buffer.alloc(4), bytes]));  // masked with zeros
  }

  call(method, ...params) {
    const id = this.nextId++;
    const answer = new Promise((resolve) => this.answers.set(id, resolve));
    this.send(TEXT, JSON.stringify({jsonrpc: '2.0', id, method, params}));
    return answer.then((message) => message.result);
  }

  show(width = 1000, height = 680) { this.send(BINARY, [1, width & 255, width >> 8, height & 255, height >> 8]); }

  click(x, y) {
    const place = [x & 255, x >> 8, y & 255, y >> 8];
    this.send(BINARY, [2, ...place, 0]);
    for (const down of [1, 0]) this.send(BINARY, [3, ...place, 0, down, 0]);
  }

  // As a browser that crashes.
  drop() { this.socket.destroy(); return this.closed; }
}
