// Building the page. Every text that comes from the library (tags, names,
// paths, lyrics) is set as a text node: tag text is hostile, and nothing of
// it is ever parsed as markup.
import { icon } from './icons.js';

export function h(tag, attrs = {}, ...children) {
  const el = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) {
    if (v === undefined || v === null || v === false) continue;
    if (k === 'class') el.className = v;
    else if (k === 'text') el.textContent = v;
    else if (k.startsWith('on')) el.addEventListener(k.slice(2), v);
    else if (k === 'dataset') Object.assign(el.dataset, v);
    else el.setAttribute(k, v === true ? '' : String(v));
  }
  append(el, children);
  return el;
}

function append(el, children) {
  for (const c of children) {
    if (c === undefined || c === null || c === false) continue;
    if (Array.isArray(c)) append(el, c);
    else el.append(c instanceof Node ? c : document.createTextNode(String(c)));
  }
}

export function iconButton(name, label, onclick, extra = {}) {
  return h('button', { type: 'button', class: 'icon', 'aria-label': label, title: label, onclick, ...extra },
           icon(name));
}

export function clear(el) {
  while (el.firstChild) el.removeChild(el.firstChild);
  return el;
}

export function formatTime(seconds) {
  if (!Number.isFinite(seconds) || seconds < 0) seconds = 0;
  const s = Math.floor(seconds);
  const m = Math.floor(s / 60);
  const hours = Math.floor(m / 60);
  const ss = String(s % 60).padStart(2, '0');
  return hours ? `${hours}:${String(m % 60).padStart(2, '0')}:${ss}` : `${m}:${ss}`;
}

// A cover that is fetched only when it scrolls near the screen (the
// browser's own lazy loading) and gives way to a drawn placeholder when the
// gateway has none (it answers 500).
export function cover(src, label, cls = 'cover', placeholder = 'disc') {
  const box = h('div', { class: `${cls} placeholder`, role: 'img', 'aria-label': label || 'cover' },
                icon(placeholder));
  if (src) {
    const img = h('img', { src, alt: '', loading: 'lazy', decoding: 'async' });
    img.addEventListener('load', () => { box.classList.remove('placeholder'); box.classList.add('loaded'); });
    img.addEventListener('error', () => img.remove());
    box.append(img);
  }
  return box;
}

// "1 album", "3 albums".
export function count(n, one, many = `${one}s`) {
  return `${n} ${n === 1 ? one : many}`;
}

let toastTimer = 0;
export function toast(text) {
  const el = document.getElementById('toast');
  el.textContent = text;
  el.classList.add('show');
  clearTimeout(toastTimer);
  toastTimer = setTimeout(() => el.classList.remove('show'), 3000);
}
