// The gateway's API as the mobile clients speak it: auth.cgi for the
// session (an HttpOnly cookie the page never reads), enumerate.cgi for every
// listing, cover and the lyrics, stream.cgi for the audio.
const CGI = 'cgi-bin/';

export class SignedOut extends Error {
  constructor() { super('not signed in'); }
}

function query(params) {
  const q = new URLSearchParams();
  for (const [k, v] of Object.entries(params)) {
    if (v !== undefined && v !== null) q.set(k, String(v));
  }
  return q.toString();
}

// Answers are JSON sent as text/plain. A request without a valid session
// gets an empty body: that is how the page learns it was signed out.
async function readAnswer(response) {
  const text = await response.text();
  if (!response.ok) throw new Error(`HTTP ${response.status}`);
  if (text.trim() === '') throw new SignedOut();
  const answer = JSON.parse(text);
  return answer === null ? {} : answer;
}

export async function enumerate(params, signal) {
  const response = await fetch(`${CGI}enumerate.cgi?${query(params)}`,
                               { credentials: 'same-origin', signal });
  return readAnswer(response);
}

export async function enumeratePost(params) {
  const response = await fetch(`${CGI}enumerate.cgi`, {
    method: 'POST', credentials: 'same-origin',
    headers: { 'Content-Type': 'application/x-www-form-urlencoded' },
    body: query(params),
  });
  return readAnswer(response);
}

async function auth(params) {
  const response = await fetch(`${CGI}auth.cgi`, {
    method: 'POST', credentials: 'same-origin',
    headers: { 'Content-Type': 'application/x-www-form-urlencoded' },
    body: query(params),
  });
  const text = await response.text();
  return text ? JSON.parse(text) : {};
}

export const signIn = (account, passwd, lang) => auth({ account, passwd, lang });
export const signOut = () => auth({ method: 'logout' });

// The radio root is a fixed list the gateway answers without touching the
// index: the cheapest question that tells whether the session is alive.
export async function isSignedIn() {
  try {
    await enumerate({ action: 'radio_enum', id: '' });
    return true;
  } catch (e) {
    if (e instanceof SignedOut) return false;
    throw e;
  }
}

export function coverOfSong(id) {
  return `${CGI}enumerate.cgi?${query({ action: 'get_cover', music_id: id })}`;
}

export function coverOfAlbum(album, artist, library) {
  return `${CGI}enumerate.cgi?${query({ action: 'get_cover_for_album', album_name: album,
                                        artist_name: artist || undefined, library })}`;
}

export function coverOfFolder(id) {
  return `${CGI}enumerate.cgi?${query({ action: 'get_cover_for_folder', folder: id })}`;
}

export function streamUrl(id, options = {}) {
  return `${CGI}stream.cgi?${query({ id, ...options })}`;
}
