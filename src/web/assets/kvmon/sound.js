  // --- sound: the console's to the page, and the microphone's to the console

  const MICROPHONE_RATE = 8000;
  const FIRST_AHEAD = 0.1;  // seconds that the first block waits, so that one which is late leaves no gap
  const MUTED_MS = 3000;    // a microphone that is off for so long is not coming back
  const MOST_AHEAD = 0.6;   // what comes further ahead is dropped: it would be too far behind the picture

  // Plays blocks of sound one behind the other. Browsers keep silent until the user has touched the page.
  class Speaker {
    constructor() { this.next = 0; }

    wake() { if (this.audio && this.audio.state === 'suspended') this.audio.resume(); }

    // At the sound's own rate, so that blocks meet at whole samples and only the whole is converted.
    open(rate) {
      if (this.audio && this.audio.sampleRate === rate) return;
      this.close();
      this.audio = new AudioContext({sampleRate: rate});
    }

    play(view) {
      if (!this.audio && navigator.userActivation && !navigator.userActivation.hasBeenActive) return;
      this.open(view.getUint32(1, true));
      if (this.audio.state !== 'running') {
        this.wake();
        return;
      }
      const channels = view.getUint8(5);
      const bits = view.getUint8(6);
      const frames = Math.floor((view.byteLength - 7) / (channels * bits / 8));
      const rate = this.audio.sampleRate;
      const now = Math.ceil(this.audio.currentTime * rate);
      if (frames === 0 || this.next > now + MOST_AHEAD * rate) return;
      const buffer = this.audio.createBuffer(channels, frames, rate);
      for (let channel = 0; channel < channels; ++channel) {
        const data = buffer.getChannelData(channel);
        for (let i = 0; i < frames; ++i) {
          const at = i * channels + channel;
          data[i] = bits === 16 ? view.getInt16(7 + 2 * at, true) / 32768 : (view.getUint8(7 + at) - 128) / 128;
        }
      }
      const source = this.audio.createBufferSource();
      source.buffer = buffer;
      source.connect(this.audio.destination);
      if (this.next < now) this.next = now + FIRST_AHEAD * rate;
      source.start(this.next / rate);
      this.next += frames;
    }

    close() {
      if (this.audio) this.audio.close();
      this.audio = null;
      this.next = 0;
    }
  }

  // Runs on the browser's sound thread; gathers what the microphone gives into blocks of a twentieth of a second.
  const RECORDER_MODULE = `registerProcessor('samples', class extends AudioWorkletProcessor {
    constructor() { super(); this.block = new Float32Array(sampleRate / 20); this.filled = 0; }
    process([input]) {
      for (const sample of input[0] || []) {
        this.block[this.filled++] = sample;
        if (this.filled < this.block.length) continue;
        this.port.postMessage(this.block);
        this.filled = 0;
      }
      return true;
    }
  });`;

  // Hands on the sound of the microphone as mono samples of 16 bits, or tells once why there is none any more.
  class Recorder {
    constructor(send, onLost) { Object.assign(this, {send, onLost}); }

    start() {
      this.stop();
      const recording = this.recording = {};
      this.record(recording).catch((error) => this.lose(recording, error.message));
    }

    lose(recording, reason) {
      if (this.recording !== recording) return;
      this.stop();
      this.onLost(reason);
    }

    // It is pulled out, taken by the system, or its leave taken back.
    watch(recording, track) {
      track.onended = () => this.lose(recording, 'it has gone');
      track.onmute = () => { recording.muted = setTimeout(() => this.lose(recording, 'it is switched off'), MUTED_MS); };
      track.onunmute = () => clearTimeout(recording.muted);
      if (track.muted) track.onmute();
    }

    async record(recording) {
      if (!navigator.mediaDevices) throw new Error('the browser gives it to pages of https or of this machine only');
      const stream = await navigator.mediaDevices.getUserMedia({audio: {channelCount: 1, echoCancellation: true}});
      recording.end = () => stream.getTracks().forEach((track) => track.stop());
      if (this.recording !== recording) {
        recording.end();
        return;
      }
      this.watch(recording, stream.getAudioTracks()[0]);
      const audio = new AudioContext({sampleRate: MICROPHONE_RATE});
      recording.end = () => {
        stream.getTracks().forEach((track) => track.stop());
        audio.close();
      };
      const url = URL.createObjectURL(new Blob([RECORDER_MODULE], {type: 'text/javascript'}));
      await audio.audioWorklet.addModule(url);
      URL.revokeObjectURL(url);
      if (this.recording !== recording) return;
      const node = new AudioWorkletNode(audio, 'samples', {numberOfOutputs: 0});
      node.port.onmessage = ({data}) => {
        if (this.recording === recording) {
          this.send(Int16Array.from(data, (sample) => Math.max(-1, Math.min(1, sample)) * 32767));
        }
      };
      audio.createMediaStreamSource(stream).connect(node);
    }

    stop() {
      const {recording} = this;
      this.recording = null;
      if (!recording) return;
      clearTimeout(recording.muted);
      if (recording.end) recording.end();
    }
  }
