// The play queue and the audio element. Songs are streamed by stream.cgi,
// which sends what the browser can decode as it is (byte ranges: the browser
// seeks by itself) and transcodes the rest as it goes; a transcoded stream
// has no length, so seeking in it asks the stream again from an offset.
import { streamUrl, coverOfSong } from './api.js';

export const REPEAT_MODES = ['off', 'all', 'one'];

export class Player extends EventTarget {
  constructor(audio) {
    super();
    this.audio = audio;
    this.items = [];
    this.index = -1;
    this.shuffle = false;
    this.repeat = 'off';
    this.history = [];
    this.played = new Set();
    this.base = 0;          // seconds the current stream starts at (offset=)
    this.format = null;     // transcoding asked by the page after a decode error
    const saved = Number(localStorage.getItem('cantora.volume'));
    audio.volume = Number.isFinite(saved) && localStorage.getItem('cantora.volume') !== null ? saved : 1;
    audio.addEventListener('ended', () => this.next(true));
    audio.addEventListener('error', () => this.onError());
    audio.addEventListener('volumechange', () => {
      localStorage.setItem('cantora.volume', String(audio.volume));
    });
    for (const ev of ['play', 'pause', 'playing', 'waiting']) {
      audio.addEventListener(ev, () => this.emit('state'));
    }
    audio.addEventListener('timeupdate', () => this.emit('time'));
    audio.addEventListener('durationchange', () => this.emit('time'));
    this.setupMediaSession();
  }

  emit(name) { this.dispatchEvent(new Event(name)); }

  get current() { return this.items[this.index] || null; }

  // Seconds into the song, also in a stream started at an offset.
  get position() { return this.base + (this.audio.currentTime || 0); }

  get duration() {
    const song = this.current;
    if (!song) return 0;
    if (song.kind === 'radio') return 0;
    const d = this.audio.duration;
    if (this.base === 0 && Number.isFinite(d) && d > 0) return d;
    return Number(song.duration) || 0;
  }

  get playing() { return !this.audio.paused; }

  // Replaces the queue and plays item `start`.
  playList(songs, start = 0) {
    this.items = songs.slice();
    this.history = [];
    this.played = new Set();
    this.emit('queue');
    this.playAt(start);
  }

  add(songs) {
    const wasEmpty = this.items.length === 0;
    this.items.push(...songs);
    this.emit('queue');
    if (wasEmpty && songs.length) this.playAt(0);
  }

  remove(i) {
    if (i < 0 || i >= this.items.length) return;
    this.items.splice(i, 1);
    if (i < this.index) this.index--;
    else if (i === this.index) {
      if (this.items.length === 0) { this.stop(); this.index = -1; }
      else this.playAt(Math.min(i, this.items.length - 1));
    }
    this.emit('queue');
  }

  clear() {
    this.stop();
    this.items = [];
    this.index = -1;
    this.emit('queue');
    this.emit('song');
  }

  stop() {
    this.audio.pause();
    this.audio.removeAttribute('src');
    this.audio.load();
  }

  playAt(i, fromHistory = false) {
    if (i < 0 || i >= this.items.length) return;
    if (!fromHistory && this.index >= 0 && this.index !== i) this.history.push(this.index);
    this.index = i;
    this.played.add(i);
    this.format = null;
    this.load(0);
    this.emit('song');
    this.emit('queue');
  }

  load(offset) {
    const song = this.current;
    if (!song) return;
    this.base = offset;
    if (song.kind === 'radio') {
      this.audio.src = song.url;
    } else {
      const options = {};
      if (this.format) Object.assign(options, this.format);
      if (offset > 0) options.offset = Math.floor(offset);
      this.audio.src = streamUrl(song.id, options);
    }
    const p = this.audio.play();
    if (p) p.catch(() => this.emit('state'));
    this.updateMediaSession();
  }

  // A song the browser cannot decode, sent as it is: ask the gateway once
  // for a transcoded stream from the same place.
  onError() {
    const song = this.current;
    if (!song || song.kind === 'radio' || this.format) {
      this.emit('error');
      return;
    }
    this.format = { format: 'mp3', bitrate: 192 };
    this.load(this.base + (this.audio.currentTime || 0));
  }

  toggle() {
    if (!this.current) {
      if (this.items.length) this.playAt(0);
      return;
    }
    if (this.audio.paused) {
      const p = this.audio.play();
      if (p) p.catch(() => {});
    } else {
      this.audio.pause();
    }
  }

  next(auto = false) {
    if (!this.items.length) return;
    if (auto && this.repeat === 'one') { this.seek(0); this.audio.play().catch(() => {}); return; }
    let i;
    if (this.shuffle) {
      let left = this.items.map((_, k) => k).filter((k) => !this.played.has(k));
      if (!left.length) {
        if (this.repeat !== 'all' && auto) { this.emit('state'); return; }
        this.played = new Set();
        left = this.items.map((_, k) => k).filter((k) => k !== this.index);
        if (!left.length) left = [this.index];
      }
      i = left[Math.floor(Math.random() * left.length)];
    } else {
      i = this.index + 1;
      if (i >= this.items.length) {
        if (this.repeat === 'all' || !auto) i = 0;
        else { this.emit('state'); return; }
      }
    }
    this.playAt(i);
  }

  previous() {
    if (this.position > 3 || !this.items.length) { this.seek(0); return; }
    if (this.history.length) this.playAt(this.history.pop(), true);
    else if (this.index > 0) this.playAt(this.index - 1, true);
    else this.seek(0);
  }

  seek(seconds) {
    const song = this.current;
    if (!song || song.kind === 'radio') return;
    const target = Math.max(0, Math.min(seconds, this.duration || seconds));
    const local = target - this.base;
    const a = this.audio;
    const seekable = a.seekable;
    let inRange = false;
    for (let k = 0; k < seekable.length; k++) {
      if (local >= seekable.start(k) && local <= seekable.end(k)) inRange = true;
    }
    if (local >= 0 && inRange && Number.isFinite(a.duration)) a.currentTime = local;
    else this.load(target);
    this.emit('time');
  }

  setShuffle(on) {
    this.shuffle = on;
    this.played = new Set([this.index]);
    this.emit('state');
  }

  cycleRepeat() {
    this.repeat = REPEAT_MODES[(REPEAT_MODES.indexOf(this.repeat) + 1) % REPEAT_MODES.length];
    this.emit('state');
  }

  setupMediaSession() {
    if (!('mediaSession' in navigator)) return;
    const ms = navigator.mediaSession;
    const handlers = {
      play: () => this.toggle(),
      pause: () => this.audio.pause(),
      previoustrack: () => this.previous(),
      nexttrack: () => this.next(),
      seekbackward: (d) => this.seek(this.position - (d.seekOffset || 10)),
      seekforward: (d) => this.seek(this.position + (d.seekOffset || 10)),
      seekto: (d) => this.seek(d.seekTime),
      stop: () => this.audio.pause(),
    };
    for (const [action, fn] of Object.entries(handlers)) {
      try { ms.setActionHandler(action, fn); } catch { /* not supported here */ }
    }
    this.addEventListener('time', () => {
      const duration = this.duration;
      if (!duration || !ms.setPositionState) return;
      try {
        ms.setPositionState({ duration, position: Math.min(this.position, duration),
                              playbackRate: this.audio.playbackRate || 1 });
      } catch { /* a position the browser refuses: leave the last one */ }
    });
    this.addEventListener('state', () => {
      ms.playbackState = this.current ? (this.audio.paused ? 'paused' : 'playing') : 'none';
    });
  }

  updateMediaSession() {
    if (!('mediaSession' in navigator) || !window.MediaMetadata) return;
    const song = this.current;
    if (!song) return;
    const artwork = song.kind === 'radio' ? []
      : [{ src: new URL(coverOfSong(song.id), document.baseURI).href, sizes: '600x600' }];
    navigator.mediaSession.metadata = new MediaMetadata({
      title: song.title || '', artist: song.artist || '', album: song.album || '', artwork,
    });
  }
}
