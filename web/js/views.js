// The screens of the player, one function per route. Each builds its part
// of the page from the gateway's answers with DOM calls only.
import { enumerate, enumeratePost, coverOfAlbum, coverOfFolder, coverOfSong } from './api.js';
import { h, clear, cover, iconButton, formatTime, toast, count } from './dom.js';
import { icon } from './icons.js';

const PAGE = 100;

// A song of an answer (song item, playlist entry, search hit) as the queue
// keeps it.
export function toSong(item) {
  const path = item.path || '';
  const file = path.slice(path.lastIndexOf('/') + 1);
  return {
    kind: 'song',
    id: String(item.id),
    title: item.title || file || 'Untitled',
    artist: item.artist || item.albumartist || '',
    album: item.album || '',
    duration: Number(item.duration) || 0,
    track: Number(item.track) || 0,
  };
}

// A station's bit rate, given in bit/s (or kbit/s by older lists).
function kbits(value) {
  const n = Number(value);
  if (!Number.isFinite(n) || n <= 0) return '';
  return `${n >= 1000 ? Math.round(n / 1000) : n} kbit/s`;
}

export class Views {
  constructor(root, player, settings) {
    this.root = root;
    this.player = player;
    this.settings = settings;   // { library(), username() }
    this.abort = null;
    player.addEventListener('song', () => this.markPlaying());
    player.addEventListener('queue', () => { if (this.route === 'queue') this.queue(); });
  }

  get library() { return this.settings.library(); }

  // Starts a screen: the requests of the screen before it are cancelled.
  begin(route, title) {
    if (this.abort) this.abort.abort();
    this.abort = new AbortController();
    this.route = route;
    document.title = title ? `${title} · Cantora` : 'Cantora';
    clear(this.root);
    this.root.append(h('p', { class: 'loading muted', text: 'Loading …' }));
    window.scrollTo(0, 0);
    return this.abort.signal;
  }

  show(...nodes) {
    clear(this.root).append(...nodes.flat());
    this.markPlaying();
    // The link that led here is gone with the last screen: keyboard focus
    // goes to the new one instead of the start of the page.
    if (!document.activeElement || document.activeElement === document.body) {
      this.root.focus({ preventScroll: true });
    }
  }

  ask(params, signal) { return enumerate(params, signal); }

  heading(title, subtitle, actions = [], art = null) {
    return h('header', { class: 'list-head' }, art,
             h('div', { class: 'list-head-text' },
               h('h1', { text: title }),
               subtitle ? h('p', { class: 'muted', text: subtitle }) : null,
               actions.length ? h('div', { class: 'actions' }, actions) : null));
  }

  songActions(songs, label) {
    if (!songs.length) return [];
    return [
      h('button', { type: 'button', class: 'primary', 'aria-label': `Play ${label}`,
                    onclick: () => this.player.playList(songs, 0) }, icon('play'), 'Play'),
      h('button', { type: 'button', class: 'ghost', 'aria-label': `Shuffle ${label}`,
                    onclick: () => { this.player.setShuffle(true); this.player.playList(songs, Math.floor(Math.random() * songs.length)); } },
        icon('shuffle'), 'Shuffle'),
      h('button', { type: 'button', class: 'ghost', 'aria-label': `Add ${label} to the queue`,
                    onclick: () => { this.player.add(songs); toast(`Added ${count(songs.length, 'song')} to the queue`); } },
        icon('plus'), 'Queue'),
    ];
  }

  songList(songs, { showAlbum = true, numbers = false } = {}) {
    if (!songs.length) return h('p', { class: 'empty muted', text: 'No songs.' });
    return h('ol', { class: 'songs' }, songs.map((s, i) => this.songRow(songs, s, i, { showAlbum, numbers })));
  }

  songRow(songs, s, i, { showAlbum, numbers }) {
    const byline = [s.artist, showAlbum ? s.album : ''].filter(Boolean).join(' · ');
    return h('li', { class: 'song', dataset: { id: s.id } },
      h('button', { type: 'button', class: 'song-main',
                    'aria-label': `Play ${s.title}${s.artist ? ` by ${s.artist}` : ''}`,
                    onclick: () => this.player.playList(songs, i) },
        h('span', { class: 'song-no muted', text: numbers && s.track ? String(s.track) : String(i + 1) }),
        h('span', { class: 'song-text' },
          h('span', { class: 'song-title', text: s.title }),
          byline ? h('span', { class: 'song-by muted', text: byline }) : null),
        h('span', { class: 'song-len muted', text: s.duration ? formatTime(s.duration) : '' })),
      iconButton('plus', `Add ${s.title} to the queue`,
                 () => { this.player.add([s]); toast(`Added “${s.title}” to the queue`); }));
  }

  markPlaying() {
    // The queue marks its playing entry by position (a song may be queued twice).
    if (this.route === 'queue') return;
    const id = this.player.current ? this.player.current.id : null;
    for (const row of this.root.querySelectorAll('li.song')) {
      const on = id !== null && row.dataset.id === id;
      row.classList.toggle('playing', on);
    }
  }

  albumGrid(names, { artist, genre } = {}) {
    if (!names.length) return h('p', { class: 'empty muted', text: 'No albums.' });
    const library = this.library;
    return h('ul', { class: 'grid', 'aria-label': 'Albums' }, names.map((name) => {
      const q = new URLSearchParams({ name });
      if (artist) q.set('artist', artist);
      if (genre) q.set('genre', genre);
      const title = name || 'Unknown album';
      return h('li', { class: 'card' },
        h('a', { href: `#/album?${q}`, class: 'card-link', 'aria-label': `Album ${title}` },
          cover(coverOfAlbum(name, artist, library), '', 'cover'),
          h('span', { class: 'card-title', text: title })),
        iconButton('play', `Play album ${title}`, () => this.playAlbum(name, artist, genre),
                   { class: 'icon card-play' }));
    }));
  }

  albumSongsQuery(name, artist, genre) {
    const p = { action: 'song_enum', library: this.library, album_name: name };
    if (genre) p.genre_name = genre;
    else if (artist) p.artist_name = artist;
    return p;
  }

  async playAlbum(name, artist, genre) {
    const answer = await this.ask(this.albumSongsQuery(name, artist, genre));
    const songs = (answer.items || []).map(toSong);
    if (songs.length) this.player.playList(songs, 0);
  }

  async albums({ latest = false } = {}) {
    const signal = this.begin(latest ? 'newest' : 'albums', latest ? 'Newest albums' : 'Albums');
    const params = { action: 'album_enum', library: this.library };
    if (latest) params.latest_album = 60;
    const answer = await this.ask(params, signal);
    const names = (answer.items || []).map((i) => i.name);
    this.show(this.heading(latest ? 'Newest albums' : 'Albums', count(names.length, 'album')),
              this.albumGrid(names));
  }

  artists() { return this.facet('artists', 'artist_enum', 'Artists', 'artist'); }
  genres() { return this.facet('genres', 'genre_enum', 'Genres', 'genre'); }

  // The names of one facet of the library, each a link to its screen.
  async facet(route, action, title, what) {
    const signal = this.begin(route, title);
    const answer = await this.ask({ action, library: this.library }, signal);
    const names = (answer.items || []).map((i) => i.name);
    const label = what[0].toUpperCase() + what.slice(1);
    this.show(this.heading(title, count(names.length, what)),
              this.nameList(names, (n) => `#/${what}?${new URLSearchParams({ name: n })}`, label));
  }

  nameList(names, href, what) {
    if (!names.length) return h('p', { class: 'empty muted', text: 'Nothing here.' });
    return h('ul', { class: 'names' }, names.map((n) =>
      h('li', {}, h('a', { href: href(n), 'aria-label': `${what} ${n || 'unknown'}` },
                    h('span', { text: n || 'Unknown' })))));
  }

  artist(name) { return this.albumsOf('artist', 'artist_name', name, 'Unknown artist', `all songs of ${name}`); }
  genre(name) { return this.albumsOf('genre', 'genre_name', name, 'Unknown genre', `the genre ${name}`); }

  // The albums of an artist or a genre, and all its songs for the buttons.
  async albumsOf(route, key, name, unknown, label) {
    const signal = this.begin(route, name);
    const [answer, songsAnswer] = await Promise.all([
      this.ask({ action: 'album_enum', library: this.library, [key]: name }, signal),
      this.ask({ action: 'song_enum', library: this.library, [key]: name }, signal)]);
    const albums = (answer.items || []).map((i) => i.name);
    const songs = (songsAnswer.items || []).map(toSong);
    const filter = key === 'artist_name' ? { artist: name } : { genre: name };
    this.show(this.heading(name || unknown, `${count(albums.length, 'album')} · ${count(songs.length, 'song')}`,
                           this.songActions(songs, label)),
              this.albumGrid(albums, filter));
  }

  async album(name, artist, genre) {
    const signal = this.begin('album', name);
    const answer = await this.ask(this.albumSongsQuery(name, artist, genre), signal);
    const songs = (answer.items || []).map(toSong);
    const artists = [...new Set(songs.map((s) => s.artist).filter(Boolean))];
    const by = artist || (artists.length === 1 ? artists[0] : artists.length ? 'Various artists' : '');
    const length = songs.reduce((t, s) => t + s.duration, 0);
    const art = cover(coverOfAlbum(name, artist, this.library), `Cover of ${name}`, 'cover big');
    this.show(this.heading(name || 'Unknown album',
                           [by, count(songs.length, 'song'), formatTime(length)].filter(Boolean).join(' · '),
                           this.songActions(songs, `album ${name}`), art),
              this.songList(songs, { showAlbum: false, numbers: true }));
  }

  async folders(id) {
    const signal = this.begin('folders', 'Folders');
    const params = { action: 'folder_enum', library: this.library };
    if (id) params.folder = id;
    const answer = await this.ask(params, signal);
    const items = answer.items || [];
    const folders = items.filter((i) => i.folder === true);
    const songs = items.filter((i) => i.folder !== true).map(toSong);
    const title = this.settings.folderTitle(id);
    const art = id ? cover(coverOfFolder(id), `Cover of ${title}`, 'cover big') : null;
    const nodes = [this.heading(title || 'Folders', `${count(folders.length, 'folder')} · ${count(songs.length, 'song')}`,
                                this.songActions(songs, `the songs of ${title || 'this folder'}`), art)];
    if (folders.length) {
      nodes.push(h('ul', { class: 'grid folders', 'aria-label': 'Folders' }, folders.map((f) => {
        const q = new URLSearchParams({ id: f.id });
        return h('li', { class: 'card' },
          h('a', { href: `#/folders?${q}`, class: 'card-link', 'aria-label': `Folder ${f.title}`,
                   onclick: () => this.settings.rememberFolder(f.id, f.title) },
            cover(coverOfFolder(f.id), '', 'cover', 'folder'),
            h('span', { class: 'card-title', text: f.title })));
      })));
    }
    if (songs.length || !folders.length) nodes.push(this.songList(songs));
    this.show(nodes);
  }

  async search(text, category) {
    const signal = this.begin('search', `Search ${text}`);
    if (!text.trim()) { this.show(this.heading('Search', 'Type to search songs, albums and artists.')); return; }
    const params = { action: 'search', library: this.library, search_key: text };
    if (category) params.category = category;
    const answer = await this.ask(params, signal);
    const songs = (answer.items || []).map(toSong);
    this.show(this.heading(`Search: ${text}`, `${songs.length >= 1000 ? 'at least ' : ''}${count(songs.length, 'song')}`,
                           this.songActions(songs, `the songs found`)),
              this.songList(songs));
  }

  async playlists() {
    const signal = this.begin('playlists', 'Playlists');
    const answer = await this.ask({ action: 'all_playlist_enum', library: this.library,
                                    username: this.settings.username() }, signal);
    const groups = [['random100', 'Random'], ['normal_playlist', 'Playlists'], ['smart_playlist', 'Smart playlists']];
    const items = answer.items || [];
    const nodes = [this.heading('Playlists', count(items.length, 'playlist'))];
    for (const [type, label] of groups) {
      for (const personal of [false, true]) {
        const list = items.filter((p) => p.type === type && Boolean(p.personal) === personal);
        if (!list.length) continue;
        nodes.push(h('h2', { class: 'group', text: personal ? `${label} (personal)` : label }));
        nodes.push(h('ul', { class: 'names' }, list.map((p) => {
          const q = new URLSearchParams({ type: p.type, name: p.name == null ? '' : String(p.name) });
          if (p.id !== undefined) q.set('id', String(p.id));
          if (p.personal) q.set('personal', 'yes');
          const name = p.name == null ? 'Random 100' : String(p.name);
          return h('li', {}, h('a', { href: `#/playlist?${q}`, 'aria-label': `Playlist ${name}` },
                               icon(type === 'smart_playlist' ? 'shuffle' : 'list'), h('span', { text: name })));
        })));
      }
    }
    this.show(nodes);
  }

  playlistQuery(q, start) {
    const type = q.get('type');
    const personal = q.get('personal') === 'yes';
    const id = q.get('id');
    if (type === 'smart_playlist') {
      return { action: 'smartpls_song_enum', pls_id: personal ? q.get('name') : id,
               personal: personal ? 'yes' : undefined };
    }
    const p = { action: 'playlist_song_enum', start, limit: PAGE, library: this.library };
    if (type === 'random100') Object.assign(p, { pls_id: '-3', username: this.settings.username() });
    else if (personal && id !== null) Object.assign(p, { personal: 'yes', personal_pls_id: id, pls_id: id });
    else if (personal) Object.assign(p, { personal: 'yes', pls_id: q.get('name') });
    else p.pls_id = id;
    return p;
  }

  async playlist(q) {
    const name = q.get('name') || 'Random 100';
    const signal = this.begin('playlist', name);
    const songs = [];
    const pageSize = q.get('type') === 'smart_playlist' || q.get('type') === 'random100' ? Infinity : PAGE;
    const answer = await this.ask(this.playlistQuery(q, 0), signal);
    songs.push(...(answer.items || []).map(toSong));
    const list = h('div');
    const more = h('button', { type: 'button', class: 'ghost more', 'aria-label': 'Load more songs' }, 'Load more');
    // A playlist shows the cover of its first song.
    const art = songs.length && !songs[0].id.startsWith('PLSID')
      ? cover(coverOfSong(songs[0].id), `Cover of ${name}`, 'cover big') : null;
    const head = this.heading(name, count(songs.length, 'song'), this.songActions(songs, `playlist ${name}`), art);
    const draw = () => {
      clear(list).append(this.songList(songs));
      head.querySelector('p').textContent = count(songs.length, 'song');
      more.hidden = !(songs.length % pageSize === 0 && songs.length > 0);
      this.markPlaying();
    };
    more.addEventListener('click', async () => {
      more.disabled = true;
      const page = await this.ask(this.playlistQuery(q, songs.length));
      const items = (page.items || []).map(toSong);
      songs.push(...items);
      more.disabled = false;
      draw();
      if (items.length < pageSize) more.hidden = true;
    });
    this.show(head, list, more);
    draw();
  }

  async radio(id) {
    const signal = this.begin('radio', 'Radio');
    const answer = await this.ask({ action: 'radio_enum', id: id || '' }, signal);
    const items = answer.items || [];
    const stations = items.filter((i) => !i.is_container).map((i) => ({
      kind: 'radio', id: String(i.id), title: i.title || 'Station', artist: i.desc || 'Internet radio',
      album: '', url: String(i.path || ''), duration: 0, bitrate: kbits(i.bitrate),
    }));
    const labels = { inetradio_sc: 'SHOUTcast', inetradio_userdefined: 'My stations', inetradio_favorite: 'Favourites' };
    const title = id ? (labels[id] || (id.startsWith('inetradio_genre_') ? id.slice(16) : 'Radio')) : 'Internet radio';
    const nodes = [this.heading(title, id ? count(items.length, 'entry', 'entries') : 'Favourites, your own stations and the SHOUTcast directory')];
    const containers = items.filter((i) => i.is_container);
    if (containers.length) {
      nodes.push(h('ul', { class: 'names' }, containers.map((c) =>
        h('li', {}, h('a', { href: `#/radio?${new URLSearchParams({ id: c.id })}`, 'aria-label': `Radio ${labels[c.id] || c.title}` },
                      icon('radio'), h('span', { text: labels[c.id] || c.title }))))));
    }
    if (stations.length) {
      nodes.push(h('ol', { class: 'songs' }, stations.map((s, i) =>
        h('li', { class: 'song', dataset: { id: s.id } },
          h('button', { type: 'button', class: 'song-main', 'aria-label': `Play station ${s.title}`,
                        onclick: () => this.player.playList(stations, i) },
            h('span', { class: 'song-no muted' }, icon('radio')),
            h('span', { class: 'song-text' }, h('span', { class: 'song-title', text: s.title }),
              h('span', { class: 'song-by muted', text: [s.artist, s.bitrate].filter(Boolean).join(' · ') })),
            h('span', { class: 'song-len muted' }))))));
    }
    if (!containers.length && !stations.length) nodes.push(h('p', { class: 'empty muted', text: 'No stations.' }));
    this.show(nodes);
  }

  queue() {
    this.begin('queue', 'Queue');
    const p = this.player;
    const name = h('input', { id: 'save-name', required: true, maxlength: 250, placeholder: 'Playlist name',
                              'aria-label': 'Playlist name', autocomplete: 'off' });
    const where = h('select', { id: 'save-where', 'aria-label': 'Save for' },
                    h('option', { value: 'no', text: 'Shared' }), h('option', { value: 'yes', text: 'Only me' }));
    const songs = p.items.filter((s) => s.kind === 'song');
    const form = h('form', { class: 'save', 'aria-label': 'Save the queue as a playlist' },
                   name, where, h('button', { type: 'submit', class: 'primary', 'aria-label': 'Save as playlist' }, 'Save as playlist'));
    form.addEventListener('submit', async (e) => {
      e.preventDefault();
      const answer = await enumeratePost({ action: 'playlist_create', name: name.value,
                                           personal: where.value, id_list: JSON.stringify(songs.map((s) => s.id)) });
      if (answer.success) {
        toast(`Saved the playlist “${name.value}”`);
        name.value = '';
      } else {
        toast('The playlist was not saved (is the name taken?)');
      }
    });
    const list = p.items.length
      ? h('ol', { class: 'songs queue' }, p.items.map((s, i) =>
          h('li', { class: `song${i === p.index ? ' playing' : ''}`, dataset: { id: s.id } },
            h('button', { type: 'button', class: 'song-main', 'aria-label': `Play ${s.title}`,
                          'aria-current': i === p.index ? 'true' : undefined, onclick: () => p.playAt(i) },
              h('span', { class: 'song-no muted', text: String(i + 1) }),
              h('span', { class: 'song-text' }, h('span', { class: 'song-title', text: s.title }),
                h('span', { class: 'song-by muted', text: [s.artist, s.album].filter(Boolean).join(' · ') })),
              h('span', { class: 'song-len muted', text: s.duration ? formatTime(s.duration) : '' })),
            iconButton('close', `Remove ${s.title} from the queue`, () => p.remove(i)))))
      : h('p', { class: 'empty muted', text: 'The queue is empty: play an album or add songs with +.' });
    const clearButton = h('button', { type: 'button', class: 'ghost', 'aria-label': 'Clear the queue',
                                      onclick: () => p.clear() }, icon('close'), 'Clear');
    this.show(this.heading('Queue', count(p.items.length, 'song'), p.items.length ? [clearButton] : []),
              songs.length ? form : null, list);
    const playing = this.root.querySelector('li.playing');
    if (playing) playing.scrollIntoView({ block: 'nearest' });
  }
}

