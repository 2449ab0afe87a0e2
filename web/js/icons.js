// Icons drawn as SVG paths (24 x 24), made with DOM calls so that the page
// needs no inline markup, no icon font and nothing from another machine.
const PATHS = {
  play: 'M8 5.5v13a1 1 0 0 0 1.5.9l10.2-6.5a1 1 0 0 0 0-1.8L9.5 4.6A1 1 0 0 0 8 5.5z',
  pause: 'M7 5h3.5v14H7zM13.5 5H17v14h-3.5z',
  next: 'M6 6.2v11.6a.8.8 0 0 0 1.2.7l8.3-5.8a.8.8 0 0 0 0-1.4L7.2 5.5a.8.8 0 0 0-1.2.7zM16.5 5.5H19v13h-2.5z',
  prev: 'M18 6.2v11.6a.8.8 0 0 1-1.2.7l-8.3-5.8a.8.8 0 0 1 0-1.4l8.3-5.8a.8.8 0 0 1 1.2.7zM5 5.5h2.5v13H5z',
  shuffle: 'M10.6 9.2L5.4 4 4 5.4l5.2 5.2zM14.5 4l2 2L4 18.6 5.4 20 17.9 7.5l2 2V4zM14.8 13.4l-1.4 1.4 3.1 3.1-2 2H20v-5.5l-2 2z',
  repeat: 'M7 7h10v3l4-4-4-4v3H5v6h2zM17 17H7v-3l-4 4 4 4v-3h12v-6h-2z',
  repeatOne: 'M7 7h10v3l4-4-4-4v3H5v6h2zM17 17H7v-3l-4 4 4 4v-3h12v-6h-2zM11 9.5h1.8V15H11v-3.7l-1 .3V10z',
  volume: 'M4 9v6h4l5 5V4L8 9zM15.5 12a4.5 4.5 0 0 0-2.5-4v8a4.5 4.5 0 0 0 2.5-4zM13 3.2v2.1a7 7 0 0 1 0 13.4v2.1a9 9 0 0 0 0-17.6z',
  mute: 'M4 9v6h4l5 5V4L8 9zM16.6 8.9l1.4-1.4 2.1 2.1 2.1-2.1 1.4 1.4-2.1 2.1 2.1 2.1-1.4 1.4-2.1-2.1-2.1 2.1-1.4-1.4 2.1-2.1z',
  queue: 'M3 6h13v2H3zM3 10h13v2H3zM3 14h9v2H3zM17 13v6l5-3z',
  lyrics: 'M4 4h16v12H7l-3 3zM7 8h10v1.6H7zM7 11h7v1.6H7z',
  plus: 'M11 5h2v6h6v2h-6v6h-2v-6H5v-2h6z',
  close: 'M6.4 5L12 10.6 17.6 5 19 6.4 13.4 12l5.6 5.6-1.4 1.4-5.6-5.6L6.4 19 5 17.6 10.6 12 5 6.4z',
  disc: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zm0 6.5a2.5 2.5 0 1 1 0 5 2.5 2.5 0 0 1 0-5z',
  folder: 'M3 6a1 1 0 0 1 1-1h5l2 2h9a1 1 0 0 1 1 1v10a1 1 0 0 1-1 1H4a1 1 0 0 1-1-1z',
  radio: 'M5 8l12-4 .6 1.8L10.8 8H19a1 1 0 0 1 1 1v10a1 1 0 0 1-1 1H5a1 1 0 0 1-1-1V9a1 1 0 0 1 1-1zm3 4.5a2.5 2.5 0 1 0 0 5 2.5 2.5 0 0 0 0-5zM14 12v1.5h4V12zm0 3v1.5h4V15z',
  list: 'M4 5h16v2H4zM4 11h16v2H4zM4 17h16v2H4z',
  remove: 'M6 11h12v2H6z',
  help: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zm-.9 14h1.8v-1.8h-1.8zM12 6.5a3.2 3.2 0 0 0-3.2 3.2h1.8a1.4 1.4 0 1 1 2.1 1.2c-1 .6-1.6 1.3-1.6 2.6h1.8c0-.8.3-1.1 1.1-1.6A3.2 3.2 0 0 0 12 6.5z',
};

const NS = 'http://www.w3.org/2000/svg';

export function icon(name) {
  const svg = document.createElementNS(NS, 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('aria-hidden', 'true');
  svg.setAttribute('focusable', 'false');
  svg.classList.add('i');
  const path = document.createElementNS(NS, 'path');
  path.setAttribute('d', PATHS[name] || PATHS.disc);
  svg.append(path);
  return svg;
}

// Replaces the icon of a button in place.
export function setIcon(button, name) {
  const old = button.querySelector('svg');
  const fresh = icon(name);
  if (old) old.replaceWith(fresh); else button.append(fresh);
}
