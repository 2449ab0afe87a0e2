// Start of the web player: the session check, the sign-in form, the route
// (the part of the address after #), the player bar and the keys.
import { isSignedIn, signIn, signOut, SignedOut, coverOfSong } from './api.js';
import { formatTime, toast } from './dom.js';
import { icon, setIcon } from './icons.js';
import { Player } from './player.js';
import { Lyrics } from './lyrics.js';
import { Views } from './views.js';

const $ = (id) => document.getElementById(id);

const settings = {
  library: () => localStorage.getItem('cantora.library') || 'shared',
  username: () => localStorage.getItem('cantora.user') || '',
  folderTitle: (id) => (id ? JSON.parse(sessionStorage.getItem('cantora.folders') || '{}')[id] || 'Folder' : ''),
  rememberFolder: (id, title) => {
    const map = JSON.parse(sessionStorage.getItem('cantora.folders') || '{}');
    map[id] = title;
    sessionStorage.setItem('cantora.folders', JSON.stringify(map));
  },
};

const player = new Player($('audio'));
const views = new Views($('view'), player, settings);
const lyrics = new Lyrics($('lyrics'), $('lyrics-body'), player);

// ---- session ----

function showSignIn() {
  $('app').hidden = true;
  $('signin').hidden = false;
  player.stop();
  $('signin-account').focus();
}

async function showApp() {
  $('signin').hidden = true;
  $('app').hidden = false;
  $('library').value = settings.library();
  if (!location.hash || location.hash === '#') location.replace('#/albums');
  await route();
}

$('signin-form').addEventListener('submit', async (e) => {
  e.preventDefault();
  const account = $('signin-account').value;
  $('signin-error').textContent = '';
  $('signin-submit').disabled = true;
  try {
    const answer = await signIn(account, $('signin-password').value, $('signin-lang').value);
    if (answer.success) {
      localStorage.setItem('cantora.user', account);
      $('signin-password').value = '';
      await showApp();
    } else {
      $('signin-error').textContent = answer.error || 'Signing in failed.';
    }
  } catch {
    $('signin-error').textContent = 'The server did not answer.';
  } finally {
    $('signin-submit').disabled = false;
  }
});

$('signout').addEventListener('click', async () => {
  await signOut().catch(() => {});
  player.clear();
  showSignIn();
});

$('library').addEventListener('change', () => {
  localStorage.setItem('cantora.library', $('library').value);
  route();
});

// ---- routes ----

const SECTIONS = new Set(['albums', 'newest', 'artists', 'genres', 'folders', 'playlists', 'radio', 'queue',
                          'search']);
let lastSection = 'albums';

async function route() {
  const hash = location.hash.slice(1) || '/albums';
  const [path, qs] = hash.split('?');
  const q = new URLSearchParams(qs || '');
  const section = path.slice(1);
  if (SECTIONS.has(section)) lastSection = section;
  for (const a of document.querySelectorAll('.nav a')) {
    // A screen below a section (an album, an artist, ...) keeps the section
    // it was opened from marked.
    const on = a.dataset.section === section ||
      (!SECTIONS.has(section) && a.dataset.section === lastSection);
    if (on) a.setAttribute('aria-current', 'page'); else a.removeAttribute('aria-current');
  }
  try {
    switch (section) {
      case 'newest': await views.albums({ latest: true }); break;
      case 'artists': await views.artists(); break;
      case 'artist': await views.artist(q.get('name') || ''); break;
      case 'album': await views.album(q.get('name') || '', q.get('artist'), q.get('genre')); break;
      case 'genres': await views.genres(); break;
      case 'genre': await views.genre(q.get('name') || ''); break;
      case 'folders': await views.folders(q.get('id')); break;
      case 'playlists': await views.playlists(); break;
      case 'playlist': await views.playlist(q); break;
      case 'radio': await views.radio(q.get('id')); break;
      case 'search':
        // An address opened as it is (reloaded, bookmarked) shows its search in the box.
        if (document.activeElement !== $('search')) {
          $('search').value = q.get('q') || '';
          $('search-category').value = q.get('cat') || '';
        }
        await views.search(q.get('q') || '', q.get('cat') || '');
        break;
      case 'queue': views.queue(); break;
      default: await views.albums();
    }
  } catch (e) {
    if (e.name === 'AbortError') return;
    if (e instanceof SignedOut) { showSignIn(); return; }
    views.show([]);
    $('view').append(Object.assign(document.createElement('p'),
                                   { className: 'error', textContent: `Something went wrong: ${e.message}` }));
  }
}
window.addEventListener('hashchange', route);

// ---- search as you type ----

let searchTimer = 0;
function searchSoon() {
  clearTimeout(searchTimer);
  searchTimer = setTimeout(() => {
    const q = new URLSearchParams({ q: $('search').value });
    if ($('search-category').value) q.set('cat', $('search-category').value);
    const target = `#/search?${q}`;
    if (location.hash.startsWith('#/search')) history.replaceState(null, '', target);
    else history.pushState(null, '', target);
    route();
  }, 300);
}
$('search').addEventListener('input', searchSoon);
$('search-category').addEventListener('change', () => { if ($('search').value) searchSoon(); });

// ---- player bar ----

const seek = $('seek');
let dragging = false;
seek.addEventListener('input', () => { dragging = true; $('time-pos').textContent = formatTime(Number(seek.value)); });
seek.addEventListener('change', () => { dragging = false; player.seek(Number(seek.value)); });

$('btn-play').addEventListener('click', () => player.toggle());
$('btn-next').addEventListener('click', () => player.next());
$('btn-prev').addEventListener('click', () => player.previous());
$('btn-shuffle').addEventListener('click', () => player.setShuffle(!player.shuffle));
$('btn-repeat').addEventListener('click', () => player.cycleRepeat());
$('btn-mute').addEventListener('click', () => { player.audio.muted = !player.audio.muted; });
$('btn-lyrics').addEventListener('click', () => toggleLyrics());
$('lyrics-close').addEventListener('click', () => toggleLyrics(false));
$('volume').value = String(player.audio.volume);
$('volume').addEventListener('input', () => { player.audio.volume = Number($('volume').value); player.audio.muted = false; });

for (const [id, name] of [['btn-prev', 'prev'], ['btn-next', 'next'], ['btn-play', 'play'],
                          ['btn-shuffle', 'shuffle'], ['btn-repeat', 'repeat'], ['btn-lyrics', 'lyrics'],
                          ['btn-queue', 'queue'], ['btn-mute', 'volume'], ['lyrics-close', 'close']]) {
  $(id).append(icon(name));
}

function toggleLyrics(on = !lyrics.open) {
  lyrics.show(on);
  $('btn-lyrics').setAttribute('aria-pressed', String(on));
}

function drawTime() {
  const d = player.duration;
  seek.max = String(Math.max(0, Math.floor(d)));
  seek.disabled = !d;
  if (!dragging) {
    seek.value = String(Math.floor(player.position));
    $('time-pos').textContent = formatTime(player.position);
  }
  seek.setAttribute('aria-valuetext', `${formatTime(player.position)} of ${formatTime(d)}`);
  $('time-len').textContent = d ? formatTime(d) : (player.current && player.current.kind === 'radio' ? 'live' : '0:00');
}

function drawState() {
  const playing = player.playing;
  setIcon($('btn-play'), playing ? 'pause' : 'play');
  $('btn-play').setAttribute('aria-label', playing ? 'Pause' : 'Play');
  $('btn-shuffle').setAttribute('aria-pressed', String(player.shuffle));
  const repeatLabel = { off: 'Repeat: off', all: 'Repeat: all', one: 'Repeat: one song' }[player.repeat];
  $('btn-repeat').setAttribute('aria-label', repeatLabel);
  $('btn-repeat').title = repeatLabel;
  $('btn-repeat').setAttribute('aria-pressed', String(player.repeat !== 'off'));
  setIcon($('btn-repeat'), player.repeat === 'one' ? 'repeatOne' : 'repeat');
  const muted = player.audio.muted || player.audio.volume === 0;
  setIcon($('btn-mute'), muted ? 'mute' : 'volume');
  $('btn-mute').setAttribute('aria-label', muted ? 'Unmute' : 'Mute');
  document.body.classList.toggle('is-playing', playing);
}

function drawSong() {
  const song = player.current;
  $('now-title').textContent = song ? song.title : 'Nothing playing';
  $('now-artist').textContent = song ? [song.artist, song.album].filter(Boolean).join(' · ') : '';
  const img = $('now-cover');
  if (song && song.kind === 'song') {
    img.hidden = false;
    img.alt = `Cover of ${song.album || song.title}`;
    img.src = coverOfSong(song.id);
  } else {
    img.removeAttribute('src');
    img.alt = '';
    img.hidden = true;
  }
  document.title = song ? `${song.title} · Cantora` : document.title;
  drawTime();
}

$('now-cover').addEventListener('error', () => { $('now-cover').hidden = true; });
$('now-cover').addEventListener('load', () => { $('now-cover').hidden = false; });

player.addEventListener('time', drawTime);
player.addEventListener('state', drawState);
player.addEventListener('song', drawSong);
player.addEventListener('error', () => toast('This song cannot be played.'));
player.audio.addEventListener('volumechange', () => { $('volume').value = String(player.audio.volume); drawState(); });

// ---- keys ----

document.addEventListener('keydown', (e) => {
  if (e.ctrlKey || e.metaKey || e.altKey) return;
  const t = e.target;
  const typing = t instanceof HTMLInputElement && t.type !== 'range' || t instanceof HTMLTextAreaElement ||
    t instanceof HTMLSelectElement;
  if (typing || $('app').hidden) {
    if (e.key === 'Escape' && t === $('search')) t.blur();
    return;
  }
  const onControl = t instanceof HTMLButtonElement || t instanceof HTMLAnchorElement || (t instanceof HTMLInputElement);
  let done = true;
  switch (e.key) {
    case ' ': if (onControl) { done = false; break; } player.toggle(); break;
    case 'k': player.toggle(); break;
    case 'ArrowRight': if (t === seek || t === $('volume')) { done = false; break; }
      if (e.shiftKey) player.next(); else player.seek(player.position + 10); break;
    case 'ArrowLeft': if (t === seek || t === $('volume')) { done = false; break; }
      if (e.shiftKey) player.previous(); else player.seek(player.position - 10); break;
    case 'ArrowUp': if (t === seek || t === $('volume')) { done = false; break; }
      player.audio.volume = Math.min(1, player.audio.volume + 0.1); break;
    case 'ArrowDown': if (t === seek || t === $('volume')) { done = false; break; }
      player.audio.volume = Math.max(0, player.audio.volume - 0.1); break;
    case 'n': case 'N': player.next(); break;
    case 'p': case 'P': player.previous(); break;
    case 'm': case 'M': player.audio.muted = !player.audio.muted; break;
    case 's': case 'S': player.setShuffle(!player.shuffle); break;
    case 'r': case 'R': player.cycleRepeat(); break;
    case 'l': case 'L': toggleLyrics(); break;
    case 'q': case 'Q': location.hash = '#/queue'; break;
    case '/': $('search').focus(); break;
    case '?': $('help').showModal(); break;
    default: done = false;
  }
  if (done) e.preventDefault();
});

// ---- start ----

(async () => {
  drawState();
  drawSong();
  let signedIn = false;
  try { signedIn = await isSignedIn(); } catch { signedIn = false; }
  if (signedIn) await showApp(); else showSignIn();
  // The first screen is built and answers input: the benchmark reads this.
  performance.mark('cantora-interactive');
  document.documentElement.dataset.ready = 'true';
})();
