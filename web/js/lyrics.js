// Lyrics of the playing song. Time-tagged (LRC) lines are shown one per
// line and the line being sung is highlighted as the song plays; plain
// lyrics are shown as they are.
import { enumerate } from './api.js';
import { h, clear } from './dom.js';

const TAG = /\[(\d{1,3}):(\d{1,2}(?:[.:]\d{1,3})?)\]/g;

// [{time, text}] sorted by time, or null when the text has no time tags.
export function parseLrc(text) {
  const lines = [];
  for (const raw of text.split(/\r?\n/)) {
    TAG.lastIndex = 0;
    const times = [];
    let m;
    let end = 0;
    while ((m = TAG.exec(raw)) && m.index === end) {
      times.push(Number(m[1]) * 60 + Number(m[2].replace(':', '.')));
      end = TAG.lastIndex;
    }
    if (!times.length) continue;
    const words = raw.slice(end).trim();
    for (const t of times) lines.push({ time: t, text: words });
  }
  if (!lines.length) return null;
  lines.sort((a, b) => a.time - b.time);
  return lines;
}

export class Lyrics {
  constructor(panel, body, player) {
    this.panel = panel;
    this.body = body;
    this.player = player;
    this.songId = null;
    this.lines = null;
    this.nodes = [];
    this.active = -1;
    this.request = null;
    player.addEventListener('song', () => { if (!panel.hidden) this.load(); });
    player.addEventListener('time', () => this.follow());
  }

  get open() { return !this.panel.hidden; }

  show(on) {
    this.panel.hidden = !on;
    document.body.classList.toggle('with-lyrics', on);
    if (on) this.load();
  }

  message(text) {
    clear(this.body).append(h('p', { class: 'muted', text }));
    this.lines = null;
    this.nodes = [];
  }

  async load() {
    const song = this.player.current;
    if (!song || song.kind === 'radio') { this.songId = null; this.message('No lyrics: nothing is playing.'); return; }
    if (song.id === this.songId) return;
    this.songId = song.id;
    this.message('Looking for lyrics …');
    if (this.request) this.request.abort();
    this.request = new AbortController();
    let answer;
    try {
      answer = await enumerate({ action: 'get_lyrics', id: song.id }, this.request.signal);
    } catch (e) {
      if (e.name !== 'AbortError') this.message('The lyrics could not be read.');
      return;
    }
    if (this.songId !== song.id) return;
    const text = typeof answer.lyrics === 'string' ? answer.lyrics : '';
    if (!text.trim()) { this.message('No lyrics for this song.'); return; }
    this.render(text);
  }

  render(text) {
    clear(this.body);
    this.active = -1;
    this.lines = parseLrc(text);
    if (this.lines) {
      this.nodes = this.lines.map((l) => h('p', { class: 'lrc', text: l.text || '♪' }));
      this.body.append(h('div', { class: 'synced' }, this.nodes));
      this.follow();
    } else {
      this.nodes = [];
      this.body.append(h('div', { class: 'plain' },
                         text.split(/\r?\n/).map((l) => h('p', { text: l || '\u00a0' }))));
    }
  }

  follow() {
    if (!this.lines || !this.open) return;
    const t = this.player.position + 0.15;
    let k = -1;
    for (let i = 0; i < this.lines.length && this.lines[i].time <= t; i++) k = i;
    if (k === this.active) return;
    if (this.active >= 0) {
      this.nodes[this.active].classList.remove('current');
      this.nodes[this.active].removeAttribute('aria-current');
    }
    this.active = k;
    if (k >= 0) {
      const node = this.nodes[k];
      node.classList.add('current');
      node.setAttribute('aria-current', 'true');
      const top = node.offsetTop - this.body.clientHeight / 2 + node.clientHeight / 2;
      this.body.scrollTo({ top: Math.max(0, top), behavior: 'smooth' });
    }
  }
}
