  // --- the WebSocket: calls and their answers, events, binary messages

  // A host that says nothing is asked, and is gone when it does not answer either.
  const ASK_MS = 10000;
  const GONE_MS = 15000;

  class Connection {
    constructor(url, owner) {
      this.owner = owner;
      this.calls = new Map();
      this.nextId = 1;
      this.waiting = [];
      this.socket = new WebSocket(url);
      this.socket.binaryType = 'arraybuffer';
      this.socket.onopen = () => {
        this.opened = true;
        for (const message of this.waiting.splice(0)) this.socket.send(message);
        this.watch();
        owner.onOpen();
      };
      this.socket.onmessage = (event) => this.receive(event.data);
      this.socket.onclose = () => this.end();
    }

    watch() {
      this.heard = performance.now();
      this.watcher = setInterval(() => {
        const now = performance.now();
        if (this.asked && now - this.asked > GONE_MS) {
          this.end();
        } else if (!this.asked && now - this.heard > ASK_MS) {
          this.asked = now;
          this.call('get.Language', []).catch(() => {});
        }
      }, ASK_MS / 2);
    }

    send(message) {
      if (this.socket.readyState === WebSocket.OPEN) this.socket.send(message);
      else if (this.socket.readyState === WebSocket.CONNECTING) this.waiting.push(message);
    }

    call(method, params) {
      return new Promise((resolve, reject) => this.carryOut({method, params, resolve, reject}));
    }

    carryOut(call) {
      if (this.socket.readyState > WebSocket.OPEN) {
        call.reject(new Error('the session has ended'));
        return;
      }
      const id = this.nextId++;
      const {method, params} = call;
      this.send(JSON.stringify({jsonrpc: '2.0', id, method, params}));
      this.calls.set(id, call);
    }

    // The calls of a connection that never came to be: they wait for the next.
    takeUnsent() {
      const calls = this.opened ? [] : [...this.calls.values()];
      if (!this.opened) this.calls.clear();
      return calls;
    }

    receive(data) {
      this.heard = performance.now();
      this.asked = 0;
      if (typeof data !== 'string') {
        this.owner.onBinary(new DataView(data));
        return;
      }
      const message = JSON.parse(data);
      if ('method' in message) {
        this.owner.onNotification(message.method, message.params);
        return;
      }
      const call = this.calls.get(message.id);
      this.calls.delete(message.id);
      if (!call) return;
      if (message.error) call.reject(Object.assign(new Error(message.error.message), {code: message.error.code}));
      else call.resolve(message.result);
    }

    end() {
      const unsent = this.takeUnsent();
      this.close();
      this.owner.onEnd(unsent);
    }

    close() {
      clearInterval(this.watcher);
      this.socket.onopen = this.socket.onclose = this.socket.onmessage = null;
      this.socket.close();
      for (const call of this.calls.values()) call.reject(new Error('the session has ended'));
      this.calls.clear();
    }
  }
