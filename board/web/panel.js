// The panel: shows what the board reports, and turns keys and controls into requests to it.
'use strict';

const FAULTS = ['dqbuf-stuck', 'dqbuf-eio', 'streamon-refused', 'qbuf-refused', 'short-frame', 'size-refused',
  'format-other', 'error-flag'];
const LAMP_FULL = 104;        // PWM value at the brightest step
const POLL_MS = 500;
const REPEAT_DELAY_MS = 350;  // the keypad repeats arrows only
const REPEAT_MS = 130;
const LOG_KEPT = 200000;      // characters of the log kept in the page

const $ = id => document.getElementById(id);
let state = null;
let live = false;
let refreshing = null;  // the request for news that is under way

function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

// ---- requests

async function request(method, path, body) {
  const response = await fetch(path, {
    method, cache: 'no-store', body: body === undefined ? undefined : JSON.stringify(body),
    headers: body === undefined ? {} : {'Content-Type': 'application/json'},
  });
  if (!response.ok) throw new Error((await response.text()) || `${method} ${path}: ${response.status}`);
  return response;
}

let errorTimer = 0;
function showError(error) {
  // A board that is away is told by the link line; its return clears that by itself.
  if (error instanceof TypeError) return;
  setText($('error'), error.message.trim());
  $('error').hidden = false;
  clearTimeout(errorTimer);
  errorTimer = setTimeout(() => { $('error').hidden = true; }, 8000);
}

// News that was asked for before a change was made must not undo it on the page.
let changing = 0;
let changes = 0;

async function patch(path, value) {
  const body = {};
  const names = path.split('.');
  const last = names.pop();
  names.reduce((object, name) => object[name] = {}, body)[last] = value;
  changing++;
  try {
    await request('PATCH', 'board', body);
  } catch (error) {
    showError(error);
  }
  changing--;
  changes++;
  await refreshing;
  await refresh();
}

// ---- keys

// Presses reach the board in their order; those that a held key repeats never pile up.
let pressing = 0;
let lastPress = Promise.resolve();
function press(key, repeated = false) {
  if (repeated && pressing > 0) return;
  pressing++;
  lastPress = lastPress.then(async () => {
    try {
      await request('POST', `keys/${key}`);
    } catch (error) {
      showError(error);
    }
    pressing--;
  });
}

const isArrow = key => ['up', 'down', 'left', 'right'].includes(key);
const button = key => document.querySelector(`[data-key="${key}"]`);

for (const element of document.querySelectorAll('[data-key]')) {
  const key = element.dataset.key;
  let timer = 0;
  const release = () => {
    clearTimeout(timer);
    timer = 0;
    element.classList.remove('pressed');
  };
  element.addEventListener('pointerdown', event => {
    if (event.button !== 0) return;
    // The focus stays where it is, so that Enter on the PC's keyboard remains the device's Enter.
    event.preventDefault();
    if (document.activeElement instanceof HTMLElement) document.activeElement.blur();
    element.setPointerCapture(event.pointerId);
    element.classList.add('pressed');
    press(key);
    const repeat = () => {
      press(key, true);
      timer = setTimeout(repeat, REPEAT_MS);
    };
    if (isArrow(key)) timer = setTimeout(repeat, REPEAT_DELAY_MS);
  });
  for (const name of ['pointerup', 'pointercancel', 'lostpointercapture']) element.addEventListener(name, release);
  element.addEventListener('contextmenu', event => event.preventDefault());
  // A click without a pointer: the keyboard on the focused key, or an assistive device.
  element.addEventListener('click', event => { if (event.detail === 0) press(key); });
}

const KEYBOARD = {
  Enter: 'enter', ArrowLeft: 'left', ArrowUp: 'up', ArrowRight: 'right', ArrowDown: 'down',
  F1: 'f1', F2: 'f2', F3: 'f3', F4: 'f4', 1: 'f1', 2: 'f2', 3: 'f3', 4: 'f4',
};
addEventListener('keydown', event => {
  const key = KEYBOARD[event.key];
  if (!key || event.ctrlKey || event.altKey || event.metaKey) return;
  // Keys that a focused control of the page uses itself stay with it.
  const control = event.target.closest('input, button, a, summary, pre, select');
  if (control && !event.key.startsWith('F') && !(control.dataset.key && isArrow(key))) return;
  event.preventDefault();
  if (event.repeat && !isArrow(key)) return;
  button(key).classList.add('pressed');
  press(key, event.repeat);
});
addEventListener('keyup', event => {
  const key = KEYBOARD[event.key];
  if (key) button(key).classList.remove('pressed');
});
addEventListener('blur', () => {
  for (const element of document.querySelectorAll('.key.pressed')) element.classList.remove('pressed');
});

// ---- screen

let streamTimer = 0;
function connectLcd() {
  clearTimeout(streamTimer);
  $('lcd').src = `lcd.mjpeg?${Date.now()}`;
}
$('lcd').addEventListener('error', () => {
  clearTimeout(streamTimer);
  streamTimer = setTimeout(() => { if (live) connectLcd(); }, 1000);
});

// ---- controls

for (const control of document.querySelectorAll('[data-path]')) {
  if (control.type === 'checkbox') {
    control.addEventListener('change', () => patch(control.dataset.path, control.checked));
  } else {
    control.addEventListener('input', () => setText($('millivolts-text'), `${control.value} mV`));
    control.addEventListener('change', () => patch(control.dataset.path, Number(control.value)));
  }
}
for (const form of document.querySelectorAll('[data-size]')) {
  form.addEventListener('submit', event => {
    event.preventDefault();
    const input = form.querySelector('input');
    edited.delete(input);
    if (input.value !== '') patch(form.dataset.size, Number(input.value));
  });
}
$('source-form').addEventListener('submit', event => {
  event.preventDefault();
  edited.delete($('camera-source'));
  patch('camera.source', $('camera-source').value.trim());
});
$('clock-form').addEventListener('submit', event => {
  event.preventDefault();
  edited.delete($('rtc'));
  const value = $('rtc').value;
  patch('rtc', value.length === 16 ? `${value}:00` : value);
});
for (const name of FAULTS) {
  const label = document.createElement('label');
  const box = document.createElement('input');
  box.type = 'checkbox';
  box.value = name;
  box.addEventListener('change', () => patch('camera.faults',
    [...document.querySelectorAll('#faults :checked')].map(other => other.value)));
  label.append(box, name);
  $('faults').append(label);
}
$('restart').addEventListener('click', async () => {
  $('restart').disabled = true;
  try {
    await request('POST', 'program/restart');
  } catch (error) {
    showError(error);
  }
  $('restart').disabled = false;
  refresh();
});

// A field the user is editing is not overwritten by the board's news until it is set or left unchanged.
const edited = new Set();
for (const input of [$('camera-source'), $('rtc'), ...document.querySelectorAll('[data-size] input')]) {
  input.addEventListener('input', () => edited.add(input));
  input.addEventListener('keydown', event => {
    if (event.key !== 'Escape') return;
    edited.delete(input);
    if (state) show(state);
  });
}
function setField(input, value) {
  if (!edited.has(input) && input.value !== value) input.value = value;
}

// ---- the board's state

const at = (object, path) => path.split('.').reduce((part, name) => part?.[name], object);
const kib = value => value >= 1048576 ? `${(value / 1048576).toFixed(1)} GiB`
  : value >= 1024 ? `${(value / 1024).toFixed(1)} MiB` : `${value} KiB`;

function setState(id, text, bad = false) {
  setText($(id), text);
  $(id).classList.toggle('bad', bad);
}

function showProgram(now) {
  const {program, watchdog} = now;
  setState('program-state', program.running ? 'running' : now.powered_off ? 'powered off'
    : program.exit_status === null ? 'not running' : `ended with status ${program.exit_status}`, !program.running);
  $('watchdog').value = watchdog.armed ? watchdog.seconds_left : 0;
  setText($('watchdog-text'), watchdog.armed ? `${watchdog.seconds_left} s left` : 'not armed');
  setText($('resets'), String(watchdog.resets));
  const note = $('lcd-note');
  note.hidden = live && (program.running || !now.powered_off);
  setText(note, !live ? 'The board does not answer. Waiting for it…' : 'Powered off. “Restart program” switches it on.');
  $('device').dataset.power = now.powered_off ? 'off' : 'on';
}

function showCamera({camera, pxp}) {
  setState('camera-state', !camera.plugged ? 'unplugged' : camera.streaming
    ? `${camera.width} × ${camera.height}, ${camera.fps} fps` : 'idle', !camera.plugged || camera.faults.length > 0);
  setField($('camera-source'), camera.source);
  for (const box of document.querySelectorAll('#faults input')) box.checked = camera.faults.includes(box.value);
  const flips = (pxp.hflip ? ', mirrored' : '') + (pxp.vflip ? ', upside down' : '');
  setText($('pxp-text'), pxp.streaming
    ? `${pxp.width} × ${pxp.height}, output ${pxp.output}, turned ${pxp.rotation}°${flips}` : 'off');
  $('device').dataset.camera = camera.plugged ? 'in' : 'out';
}

function showLights(now) {
  const lit = now.powered_off || !now.camera.plugged ? 0 : Math.min(now.lamp / LAMP_FULL, 1);
  $('device').style.setProperty('--lamp', String(lit));
  $('lamp-led').style.setProperty('--level', String(lit));
  setText($('lamp-value'), `${Math.round(now.lamp / LAMP_FULL * 100)} %`);
  $('green-led').style.setProperty('--level', String(now.powered_off ? 0 : now.green_led / 255));
  $('charge-led').style.setProperty('--level', now.battery.charger ? '1' : '0');
}

function show(now) {
  showProgram(now);
  showCamera(now);
  showLights(now);
  for (const control of document.querySelectorAll('[data-path]')) {
    const value = at(now, control.dataset.path);
    if (control.type === 'checkbox') control.checked = Boolean(value);
    else if (document.activeElement !== control && !control.matches(':active')) control.value = value;
  }
  setText($('millivolts-text'), `${$('millivolts').value} mV`);
  setState('power-state', `${now.battery.millivolts} mV${now.battery.charger ? ', charging' : ''}`,
    now.battery.millivolts < 1278);
  for (const form of document.querySelectorAll('[data-size]')) {
    setField(form.querySelector('input'), String(at(now, form.dataset.size) ?? ''));
  }
  setState('storage-state', now.card.inserted ? `card, ${kib(now.card.free_kib)} free` : `inside, ${kib(now.nand.free_kib)} free`);
  const units = (now.usb_units ?? []).filter(Boolean);
  setText($('usb-units'), units.length ? units.join(', ') : 'nothing');
  setText($('lcdparams'), now.lcdparams.replace(/^lcd_panel=/, '') || '–');
  setState('connection-state', [now.usb_host && 'PC', now.tv_cable && 'TV'].filter(Boolean).join(', ') || 'none');
  setText($('clock-state'), now.rtc.replace('T', ' '));
  setField($('rtc'), now.rtc.replace(' ', 'T').slice(0, 19));
  setText($('commands-state'), String(now.commands.length));
  setText($('commands'), now.commands.join('\n'));
}

function setLive(value) {
  if (live === value) return;
  live = value;
  $('link').classList.toggle('live', live);
  setText($('link'), live ? 'connected' : 'the board does not answer; trying again');
  for (const element of document.querySelectorAll('.key')) element.disabled = !live;
  if (live) {
    connectLcd();
    restartLog();
  } else if (state) {
    showProgram(state);
  }
}

function refresh() {
  refreshing ??= (async () => {
    try {
      const before = changes;
      const news = await (await request('GET', 'board')).json();
      setLive(true);
      if (changing > 0 || before !== changes) return;
      state = news;
      show(state);
    } catch (error) {
      setLive(false);
      showError(error);
    } finally {
      refreshing = null;
    }
  })();
  return refreshing;
}

// ---- log and files

let logNext = 0;
function restartLog() {
  logNext = 0;
  $('log').replaceChildren();
}
async function refreshLog() {
  const response = await request('GET', `log?from=${logNext}`);
  const next = Number(response.headers.get('Log-Next'));
  const text = await response.text();
  if (next === logNext) return;
  logNext = next;
  const log = $('log');
  const atEnd = log.scrollTop + log.clientHeight >= log.scrollHeight - 8;
  log.append(text);
  log.normalize();
  if (log.textContent.length > 2 * LOG_KEPT) log.textContent = log.textContent.slice(-LOG_KEPT);
  if (atEnd) log.scrollTop = log.scrollHeight;
}

async function refreshFiles(panel) {
  const medium = panel.dataset.medium;
  const list = panel.querySelector('ul');
  const present = state[medium].inserted ?? true;
  // The card may have been pulled out just now.
  const response = present ? await fetch(`files/${medium}`, {cache: 'no-store'}) : null;
  const files = response?.ok ? await response.json() : null;
  const summary = panel.querySelector('.state');
  setText(summary, files === null ? 'no such medium' : `${files.length} ${files.length === 1 ? 'file' : 'files'}`);
  const text = JSON.stringify(files);
  if (list.dataset.shown === text) return;
  list.dataset.shown = text;
  list.replaceChildren(...(files ?? []).map(file => {
    const item = document.createElement('li');
    const link = document.createElement('a');
    link.href = `files/${medium}/${file.path.split('/').map(encodeURIComponent).join('/')}`;
    link.target = '_blank';
    link.rel = 'noopener';
    link.textContent = file.path;
    const size = document.createElement('span');
    size.textContent = kib(Math.ceil(file.bytes / 1024));
    item.append(link, size);
    return item;
  }));
}

async function poll() {
  if (!document.hidden) {
    await refresh();
    if (live && state) {
      try {
        const news = ['files-card', 'files-nand'].map(refreshFilesWhenDue);
        if ($('log-panel').open) news.push(refreshLog());
        await Promise.all(news);
      } catch (error) {
        showError(error);
      }
    }
  }
  setTimeout(poll, POLL_MS);
}
const filesDue = {};
function refreshFilesWhenDue(id) {
  const panel = $(id);
  const now = performance.now();
  if (now < (filesDue[id] ?? 0)) return null;
  filesDue[id] = now + (panel.open ? 1500 : 5000);
  return refreshFiles(panel);
}
document.addEventListener('visibilitychange', () => { if (!document.hidden) refresh(); });
poll();
