// The panel: shows what the board reports, and turns keys and controls into requests to it.
'use strict';

const FAULTS = ['dqbuf-stuck', 'dqbuf-eio', 'streamon-refused', 'qbuf-refused', 'short-frame', 'size-refused',
  'format-other', 'error-flag'];
const LAMP_FULL = 104;        // PWM value at the brightest step
const POLL_MS = 500;
const ANSWER_MS = 4000;       // a board that takes longer does not answer
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
    signal: method === 'GET' ? AbortSignal.timeout(ANSWER_MS) : null,
  });
  if (!response.ok) throw new Error((await response.text()) || `${method} ${path}: ${response.status}`);
  return response;
}

let errorTimer = 0;
function showError(error) {
  // A board that is away is told by the link line; its return clears that by itself.
  if (error instanceof TypeError || error.name === 'TimeoutError') return;
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

const STALLED_MS = 4000;  // the board repeats a picture that stays the same every second
const RETRY_MS = 500;
const sleep = milliseconds => new Promise(resolve => setTimeout(resolve, milliseconds));

// The pictures of the stream, one after the other. Ends, or throws, when the stream does; an <img> would not tell.
async function* pictures() {
  const stalled = new AbortController();
  let timer = 0;
  const watch = () => {
    clearTimeout(timer);
    timer = setTimeout(() => stalled.abort(), STALLED_MS);
  };
  try {
    watch();
    const response = await fetch('lcd.mjpeg', {cache: 'no-store', signal: stalled.signal});
    if (!response.ok) throw new Error(await response.text());
    let bytes = new Uint8Array(0);
    for (const reader = response.body.getReader();;) {
      const {done, value} = await reader.read();
      if (done) return;
      watch();
      const more = new Uint8Array(bytes.length + value.length);
      more.set(bytes);
      more.set(value, bytes.length);
      bytes = more;
      for (;;) {
        const head = /Content-Length: (\d+)\r\n\r\n/.exec(new TextDecoder('latin1').decode(bytes.subarray(0, 200)));
        const start = head ? head.index + head[0].length : 0;
        const end = start + Number(head?.[1]);
        if (!head || bytes.length < end) break;
        yield new Blob([bytes.subarray(start, end)], {type: 'image/jpeg'});
        bytes = bytes.slice(end);
      }
    }
  } finally {
    clearTimeout(timer);
    stalled.abort();
  }
}

async function watchLcd() {
  const screen = $('lcd').getContext('2d', {alpha: false});
  for (;; await sleep(RETRY_MS)) {
    try {
      for await (const picture of pictures()) {
        const bitmap = await createImageBitmap(picture);
        screen.drawImage(bitmap, 0, 0);
        bitmap.close();
        $('lcd').dataset.pictures = Number($('lcd').dataset.pictures ?? 0) + 1;
      }
    } catch (error) {
      if (live && !(error instanceof DOMException)) showError(error);
    }
  }
}
watchLcd();

// ---- controls

for (const control of document.querySelectorAll('[data-path]')) {
  if (control.type === 'checkbox') {
    control.addEventListener('change', () => patch(control.dataset.path, control.checked));
  } else if (control.type === 'range') {
    control.addEventListener('input', () => showVoltage(Number(control.value)));
    control.addEventListener('change', () => patch(control.dataset.path, Number(control.value)));
  } else {
    control.addEventListener('change', () => patch(control.dataset.path, control.value));
  }
}
for (const form of document.querySelectorAll('[data-number]')) {
  form.addEventListener('submit', event => {
    event.preventDefault();
    const input = form.querySelector('input');
    edited.delete(input);
    if (input.value !== '') patch(form.dataset.number, Math.round(Number(input.value) * form.dataset.factor));
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
$('rtc-now').addEventListener('click', () => {
  edited.delete($('rtc'));
  const now = new Date();
  patch('rtc', new Date(now.getTime() - now.getTimezoneOffset() * 60000).toISOString().slice(0, 19));
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
let restarting = false;
$('restart').addEventListener('click', async () => {
  // Not disabled meanwhile: that would take the keyboard's focus away.
  if (restarting) return;
  restarting = true;
  if (state) showProgram(state);
  try {
    await request('POST', 'program/restart');
  } catch (error) {
    showError(error);
  }
  restarting = false;
  await refreshing;
  await refresh();
});

// A field the user is editing is not overwritten by the board's news until it is set or left unchanged.
const edited = new Set();
for (const input of [$('camera-source'), $('rtc'), ...document.querySelectorAll('[data-number] input')]) {
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

// What covers the screen when it is not the running program's; empty: nothing.
function screenNote({program, powered_off: poweredOff, watchdog}) {
  if (!live) return 'The board does not answer. Waiting for it…';
  if (restarting) return 'The program is being restarted…';
  if (program.running) return '';
  if (poweredOff) return 'Powered off. “Restart program” switches it on.';
  return `The program ended with status ${program.exit_status}. ${watchdog.armed
    ? `The watchdog resets it in ${watchdog.seconds_left} s, “Restart program” does at once.` : '“Restart program” starts it again.'}`;
}

function showProgram(now) {
  const {program, watchdog} = now;
  setState('program-state', restarting ? 'restarting' : program.running ? 'running' : now.powered_off ? 'powered off'
    : `ended with status ${program.exit_status}`, !program.running);
  $('watchdog').value = watchdog.armed ? watchdog.seconds_left : 0;
  setText($('watchdog-text'), watchdog.armed ? `${watchdog.seconds_left} s left` : 'not armed');
  setText($('resets'), String(watchdog.resets));
  const note = screenNote(now);
  setText($('lcd-note'), note);
  $('lcd-note').hidden = note === '';
  const tv = /tvenc_(\w+)$/.exec(now.display);
  setText($('display-note'), tv ? `on the TV, ${tv[1].toUpperCase()}${now.tv_cable ? '' : ' (no cable)'}` : '');
  $('display-note').hidden = !tv || note !== '';
  $('device').dataset.power = now.powered_off ? 'off' : 'on';
}

function showCamera({camera, pxp}) {
  setState('camera-state', !camera.plugged ? 'unplugged' : camera.streaming
    ? `${camera.width} × ${camera.height}, ${camera.fps} fps` : 'idle', !camera.plugged || camera.faults.length > 0);
  setField($('camera-source'), camera.source);
  for (const box of document.querySelectorAll('#faults input')) box.checked = camera.faults.includes(box.value);
  const turn = pxp.rotation ? `, turned ${pxp.rotation}°` : '';
  const flips = (pxp.hflip ? ', mirrored' : '') + (pxp.vflip ? ', upside down' : '');
  setText($('pxp-text'), pxp.streaming
    ? `${pxp.width} × ${pxp.height}, output ${pxp.output}${turn}${flips}` : 'off');
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

// As the program reckons it: 1278 mV are empty, 2046 mV full, in steps of 4 %.
const chargeOf = millivolts => Math.min(Math.max(Math.trunc((millivolts - 1278) / 768 * 100 / 4) * 4, 0), 100);
function showVoltage(millivolts) {
  setText($('millivolts-text'), `${millivolts} mV · ${chargeOf(millivolts)} %`);
}

const MEDIUM_OF = {'/dev/mmcblk0p1': 'card', '/dev/loop0': 'nand'};
const MEDIUM_NAMES = {card: 'memory card', nand: 'internal storage'};

// The drives that a PC at the USB cable finds; which medium each is, empty while it is one without a medium.
function drivesOnPc(now) {
  return now.usb_units.map(device => {
    const medium = MEDIUM_OF[device];
    return device === '' || !now.usb_host ? null : now[medium]?.handed_over ? medium : '';
  });
}

function showConnections(now) {
  const drives = drivesOnPc(now);
  $('pc').hidden = !now.usb_host;
  setText($('pc-note'), drives.some(drive => drive !== null) ? 'The PC sees:' : 'The PC sees no drive.');
  for (const section of document.querySelectorAll('.drive')) {
    const medium = drives[section.dataset.unit];
    section.hidden = medium === null;
    section.dataset.medium = medium ?? '';
    setText(section.querySelector('.drive-name'), medium
      ? `Drive ${section.dataset.unit}: ${MEDIUM_NAMES[medium]}, ${kib(now[medium].size_kib)}`
      : `Drive ${section.dataset.unit}: no medium`);
  }
  setText($('usb-violations'), now.usb_violations === 0 ? 'none' : String(now.usb_violations));
  $('usb-violations').classList.toggle('bad', now.usb_violations > 0);
  setState('connection-state', [now.usb_host && 'PC', now.tv_cable && 'TV'].filter(Boolean).join(', ') || 'none');
}

function show(now) {
  showProgram(now);
  showCamera(now);
  showLights(now);
  for (const control of document.querySelectorAll('[data-path]')) {
    const value = at(now, control.dataset.path);
    if (control.type === 'checkbox') control.checked = Boolean(value);
    else if (!control.matches(':active')) control.value = value;
  }
  if (!$('millivolts').matches(':active')) showVoltage(now.battery.millivolts);
  setState('power-state', `${now.battery.millivolts} mV${now.battery.charger ? ', charging' : ''}`,
    chargeOf(now.battery.millivolts) < 20);
  for (const form of document.querySelectorAll('[data-number]')) {
    const value = at(now, form.dataset.number) / form.dataset.factor;
    setField(form.querySelector('input'), String(Math.round(value * 1000) / 1000));
  }
  const medium = now.card.mounted ? 'card' : 'nand';
  setState('storage-state', !now[medium].mounted ? 'none mounted' : now[medium].handed_over
    ? `${MEDIUM_NAMES[medium]} at the PC` : `${MEDIUM_NAMES[medium]}, ${kib(now[medium].free_kib)} free`);
  showConnections(now);
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
      // Another board than before: it was started anew between two looks.
      if (state && state.session !== news.session) restartLog();
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

// ---- log

let logNext = 0;
let logPaused = false;
function restartLog() {
  logNext = 0;
  $('log').replaceChildren();
}
$('log-pause').addEventListener('click', () => {
  logPaused = !logPaused;
  $('log-pause').setAttribute('aria-pressed', String(logPaused));
  setText($('log-pause'), logPaused ? 'Go on' : 'Pause');
  setText($('log-news'), logPaused ? 'paused' : '');
  if (!logPaused) Promise.resolve(readingLog).then(() => refreshLog(true)).catch(showError);
});
$('log-clear').addEventListener('click', () => $('log').replaceChildren());
let readingLog = null;  // one at a time, or a part would come twice
function refreshLog(toEnd = false) {
  readingLog ??= readLog(toEnd).finally(() => { readingLog = null; });
  return readingLog;
}
async function readLog(toEnd) {
  if (logPaused) {
    const response = await fetch(`log?from=${logNext}`, {method: 'HEAD', cache: 'no-store'});
    const waiting = Number(response.headers.get('Log-Next')) - logNext;
    setText($('log-news'), waiting > 0 ? `paused, ${kib(Math.ceil(waiting / 1024))} more` : 'paused');
    return;
  }
  const from = logNext;
  const response = await request('GET', `log?from=${from}`);
  const next = Number(response.headers.get('Log-Next'));
  const text = await response.text();
  if (next === from || logNext !== from) return;
  logNext = next;
  const log = $('log');
  const atEnd = toEnd || log.scrollTop + log.clientHeight >= log.scrollHeight - 8;
  log.append(text);
  log.normalize();
  if (log.textContent.length > 2 * LOG_KEPT) log.textContent = log.textContent.slice(-LOG_KEPT);
  if (atEnd) log.scrollTop = log.scrollHeight;
}

// ---- news

async function poll() {
  if (!document.hidden) {
    await refresh();
    if (live && state) {
      try {
        const news = ['card', 'nand'].map(refreshFilesWhenDue);
        if ($('log-panel').open) news.push(refreshLog());
        await Promise.all(news);
      } catch (error) {
        showError(error);
      }
    }
  }
  setTimeout(poll, POLL_MS);
}
for (const medium of ['card', 'nand']) {
  $(`files-${medium}`).addEventListener('toggle', () => { if (state) refreshFiles(medium).catch(showError); });
}
document.addEventListener('visibilitychange', () => { if (!document.hidden) refresh(); });
poll();
