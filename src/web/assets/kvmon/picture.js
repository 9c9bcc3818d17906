  // --- what the console looks like

  const MIME = {1: 'image/jpeg', 2: 'image/png'};

  // Decodes beside the page's own work. The first way costs half as much, and is there on secure pages only.
  async function decodeTile(bytes, type) {
    if (!window.ImageDecoder) return createImageBitmap(new Blob([bytes], {type}));
    const decoder = new ImageDecoder({data: bytes, type, colorSpaceConversion: 'none'});
    try {
      return (await decoder.decode()).image;
    } finally {
      decoder.close();
    }
  }

  // The canvas, with as many pixels as the screen has in its place.
  class Picture {
    constructor(canvas) {
      this.canvas = canvas;
      this.context = canvas.getContext('2d', {alpha: false});
      this.drawing = Promise.resolve();
    }

    // The console's pixels, and how many of them make one of the page's; from the next frame on.
    setDisplay(view) {
      const [width, height, ratio] = [1, 3, 5].map((at) => view.getUint16(at, true));
      this.drawing = this.drawing.then(() => { this.display = {width, height, ratio: ratio / 100}; });
    }

    // Frames are drawn in their order; `done` is called with the number of each and of its tiles.
    draw(view, done) { this.drawing = this.drawing.then(() => this.drawNow(view, done)).catch(() => {}); }

    async drawNow(view, done) {
      const tiles = [];
      for (let at = 9; at + 13 <= view.byteLength;) {
        const length = view.getUint32(at + 9, true);
        const bytes = new Uint8Array(view.buffer, view.byteOffset + at + 13, length);
        const picture = decodeTile(bytes, MIME[view.getUint8(at + 8)]);
        tiles.push({x: view.getUint16(at, true), y: view.getUint16(at + 2, true), picture});
        at += 13 + length;
      }
      const results = await Promise.allSettled(tiles.map((tile) => tile.picture));
      this.takeDisplay();
      for (const [i, result] of results.entries()) {
        if (result.status === 'rejected') continue;
        this.context.drawImage(result.value, tiles[i].x, tiles[i].y);
        result.value.close();
      }
      done(view.getUint32(1, true), tiles.length);
    }

    // Black, until the next frame.
    clear() {
      this.drawing = this.drawing.then(() => this.context.fillRect(0, 0, this.canvas.width, this.canvas.height));
    }

    takeDisplay() {
      if (!this.display) return;
      const {width, height, ratio} = this.display;
      this.display = null;
      if (this.canvas.width !== width) this.canvas.width = width;
      if (this.canvas.height !== height) this.canvas.height = height;
      this.canvas.style.width = `${width / ratio}px`;
      this.canvas.style.height = `${height / ratio}px`;
    }

    setCursor(view) {
      const text = (from) => new TextDecoder().decode(new Uint8Array(view.buffer, view.byteOffset + from));
      if (view.getUint8(1) === 0) {
        this.canvas.style.cursor = text(2);
        return;
      }
      const bytes = new Uint8Array(view.buffer, view.byteOffset + 6);
      const base64 = btoa(String.fromCharCode(...bytes));
      const spot = `${view.getInt16(2, true)} ${view.getInt16(4, true)}`;
      this.canvas.style.cursor = `url(data:image/png;base64,${base64}) ${spot}, auto`;
    }
  }
