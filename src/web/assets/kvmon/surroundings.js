  // The browser around the console, as far as a page can do what the console or the page's commands want of it.
  class Surroundings {
    constructor(element) { this.element = element; }

    perform(name, value) {
      const operations = {
        quit: () => window.close(),
        windowState: () => this.setState(value),
        showWindow: () => { if (value) window.focus(); },
        fit: () => this.fit(),
        title: () => { document.title = value; },
        titleFromLocation: () => { document.title = location.href; },
        openPage: () => this.openPage(value),
        navigateHelp: () => this.navigateHelp(value),
        showHelp: () => { if (this.help) this.help.focus(); },
        closeHelp: () => this.closeHelp(),
      };
      if (Object.hasOwn(operations, name)) operations[name]();
    }

    // A page has no window to maximize, but a full screen.
    setState(state) {
      const refused = () => {};
      if (state === 1) document.documentElement.requestFullscreen().catch(refused);
      if (state === 0 && document.fullscreenElement) document.exitFullscreen().catch(refused);
    }

    // Browsers do it for windows that a script has opened.
    fit() {
      const {clientWidth, clientHeight} = this.element;
      const dx = Math.max(0, Math.round((window.outerWidth - window.innerWidth) / 2));
      const dy = Math.max(0, window.outerHeight - window.innerHeight - dx);
      window.resizeTo(clientWidth + 4 + 2 * dx, clientHeight + 20 + dy);
      window.moveTo(0, 0);
    }

    takePicture(file, use) {
      if (use === 'save' || !navigator.clipboard || !window.ClipboardItem) this.savePicture(file);
      else this.copyPicture(file).catch(() => this.savePicture(file));
    }

    // To where the browser puts what its user downloads.
    savePicture(file) {
      const link = document.createElement('a');
      link.href = URL.createObjectURL(file);
      link.download = file.name;
      link.click();
      setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    }

    // Browsers take one kind of picture there.
    async copyPicture(file) {
      const asPng = async () => {
        const bitmap = await createImageBitmap(file);
        const canvas = document.createElement('canvas');
        canvas.width = bitmap.width;
        canvas.height = bitmap.height;
        canvas.getContext('2d').drawImage(bitmap, 0, 0);
        return new Promise((resolve) => canvas.toBlob(resolve, 'image/png'));
      };
      await navigator.clipboard.write([new ClipboardItem({'image/png': asPng()})]);
    }

    isWebPage(url) {
      try {
        return /^https?:$/.test(new URL(url).protocol);
      } catch {
        return false;
      }
    }

    openPage(url) { if (this.isWebPage(url)) window.open(url, '_blank', 'noopener'); }

    // One window for a page of the help. What it shows comes from elsewhere and gets no hold of this page; so
    // some browsers neither send it to another page nor close it from here.
    navigateHelp(url) {
      if (!this.isWebPage(url)) return;
      if (!this.help || this.help.closed || this.helpUrl !== url) {
        this.closeHelp();
        this.helpUrl = url;
        this.help = window.open('about:blank', 'kvmon-help', 'popup,width=1000,height=760');
        if (!this.help) return;
        this.help.opener = null;
      }
      try {
        this.help.location.replace(url);
      } catch {
        // The page is there already, and of another origin: it is left as its user has it.
      }
    }

    closeHelp() {
      if (this.help) this.help.close();
      this.help = null;
    }
  }

