// The media's files on the panel: lists with previews, and what a PC finds on its drives. Shares its names with panel.js,
// which is loaded after it.
'use strict';

const isPicture = path => /\.jpe?g$/i.test(path);
const isFilm = path => /\.avi$/i.test(path);

// The first frame of an AVI file of raw YUYV frames, drawn on a canvas; null when it is none.
async function firstFrame(address) {
  const bytes = async (from, length) => new DataView(await (await fetch(address, {
    cache: 'no-store', headers: {Range: `bytes=${from}-${from + length - 1}`},
  })).arrayBuffer());
  const head = await bytes(0, 16384);
  const find = (text, from) => {
    for (let i = from; i + text.length <= head.byteLength; i++) {
      if ([...text].every((letter, k) => head.getUint8(i + k) === letter.charCodeAt(0))) return i;
    }
    return -1;
  };
  const format = find('strf', 12);
  const list = find('movi', format);
  const frame = find('00d', list);
  if (format < 0 || list < 0 || frame < 0 || find('YUY2', format) !== format + 24) return null;
  const width = head.getInt32(format + 12, true);
  const height = Math.abs(head.getInt32(format + 16, true));
  if (width < 2 || width > 2048 || height < 1 || height > 2048) return null;
  const pixels = await bytes(frame + 8, width * height * 2);
  if (pixels.byteLength < width * height * 2) return null;
  const canvas = document.createElement('canvas');
  canvas.width = width;
  canvas.height = height;
  const picture = new ImageData(width, height);
  for (let i = 0; i < width * height; i++) {
    const pair = (i >> 1) * 4;
    const y = pixels.getUint8(i * 2);
    const u = pixels.getUint8(pair + 1) - 128;
    const v = pixels.getUint8(pair + 3) - 128;
    picture.data.set([y + 1.402 * v, y - 0.344 * u - 0.714 * v, y + 1.772 * u, 255], i * 4);
  }
  canvas.getContext('2d').putImageData(picture, 0, 0);
  return canvas;
}

// Previews are fetched when they come into sight.
const previews = new IntersectionObserver(entries => {
  for (const {isIntersecting, target} of entries) {
    if (!isIntersecting) continue;
    previews.unobserve(target);
    const address = target.href;
    if (isPicture(address)) {
      const image = new Image();
      image.alt = '';
      image.addEventListener('error', () => image.remove());
      image.src = address;
      target.append(image);
    } else {
      firstFrame(address).then(canvas => { if (canvas) target.append(canvas); }, () => {});
    }
  }
});

// Names come from the medium: they are only ever text, and only ever the end of an address of ours.
function fileItem(medium, {path}) {
  const item = document.createElement('li');
  const address = `files/${medium}/${path.split('/').map(encodeURIComponent).join('/')}`;
  const link = (className, text) => {
    const element = document.createElement('a');
    element.href = address;
    element.className = className;
    element.textContent = text;
    return element;
  };
  const preview = link('preview', isPicture(path) || isFilm(path) ? '' : 'file');
  preview.tabIndex = -1;  // the same as the name's link
  preview.setAttribute('aria-hidden', 'true');
  preview.classList.toggle('film', isFilm(path));
  const name = link('file-name', path);
  // A browser shows pictures; of the rest it can only keep a copy.
  if (isPicture(path)) {
    preview.target = name.target = '_blank';
    preview.rel = name.rel = 'noopener';
  } else {
    preview.download = name.download = path.split('/').pop();
  }
  const save = link('button save', 'Save');
  save.download = path.split('/').pop();
  save.setAttribute('aria-label', `Save ${path}`);
  const facts = document.createElement('span');
  facts.className = 'file-facts';
  item.append(preview, name, facts, save);
  if (isPicture(path) || isFilm(path)) previews.observe(preview);
  return item;
}

const shownFiles = new WeakMap();  // list: its items by their file
function showFiles(list, medium, files) {
  const before = shownFiles.get(list) ?? new Map();
  const now = new Map();
  for (const file of files) {
    // A film grows while it is recorded, and its first frame stays the same.
    const key = [medium, file.path, isFilm(file.path) ? '' : file.modified].join('|');
    const item = before.get(key) ?? fileItem(medium, file);
    const time = new Date((file.modified - new Date().getTimezoneOffset() * 60) * 1000).toISOString();
    setText(item.querySelector('.file-facts'), `${kib(Math.ceil(file.bytes / 1024))}, ${time.slice(0, 16).replace('T', ' ')}`);
    now.set(key, item);
  }
  shownFiles.set(list, now);
  const items = [...now.values()];
  if (items.length !== list.children.length || items.some((item, i) => item !== list.children[i])) {
    list.replaceChildren(...items);
  }
}

async function fetchFiles(medium) {
  // The card may have been pulled out just now.
  const response = state[medium].inserted ?? true ? await fetch(`files/${medium}`, {cache: 'no-store'}) : null;
  if (!response?.ok) return null;
  const files = await response.json();
  return files.sort((a, b) => b.modified - a.modified);
}

async function refreshFiles(medium) {
  const files = await fetchFiles(medium);
  const panel = $(`files-${medium}`);
  const count = files && `${files.length} ${files.length === 1 ? 'file' : 'files'}`;
  setText(panel.querySelector('.state'), files === null ? 'no such medium'
    : state[medium].handed_over ? `${count}, at the PC` : count);
  showFiles(panel.querySelector('ul'), medium, panel.open && files || []);
  for (const drive of document.querySelectorAll('.drive')) {
    const mine = drive.dataset.medium === medium;
    if (mine || drive.dataset.medium === '') showFiles(drive.querySelector('ul'), medium, mine && files || []);
  }
}

const filesDue = {};
function refreshFilesWhenDue(medium) {
  const now = performance.now();
  if (now < (filesDue[medium] ?? 0)) return null;
  filesDue[medium] = now + ($(`files-${medium}`).open || state.usb_host ? 1000 : 4000);
  return refreshFiles(medium);
}
