// Uses the panel as people do: node panel.js ADDRESS SCREENSHOT-FOLDER PROGRAM MEDIA BOARD-PID [PICTURE]. Prints one line for each check,
// as scripts/checks.sh. With PICTURE it only takes the picture of the panel that the README shows.
'use strict';

const {chromium} = require('playwright-core');
const {deepStrictEqual: equal} = require('node:assert');
const {spawn} = require('node:child_process');
const fs = require('node:fs');

const [address, folder, program, media, boardPid, picturePath] = process.argv.slice(2);
let failures = 0;

async function check(name, action) {
  try {
    await action();
    console.log(`ok - ${name}`);
  } catch (error) {
    failures++;
    console.log(`not ok - ${name}\n    ${String(error.message).replaceAll('\n', '\n    ')}`);
  }
}
async function eventually(condition, milliseconds = 8000) {
  const deadline = Date.now() + milliseconds;
  while (!await condition()) {
    if (Date.now() > deadline) throw new Error(`not in time: ${condition}`);
    await new Promise(resolve => setTimeout(resolve, 50));
  }
}
const board = async () => (await fetch(`${address}/board`)).json();
const becomes = (read, expected, milliseconds) => eventually(async () => read(await board()) === expected, milliseconds);
const files = async () => (await fetch(`${address}/files/card`)).json();
const log = async (from = 0) => (await fetch(`${address}/log?from=${from}`)).text();
const patch = body => fetch(`${address}/board`, {method: 'PATCH', body: JSON.stringify(body)});
const live = () => becomes(state => state.camera.streaming && state.pxp.streaming, true, 20000);

async function openPage(browser, options, complaints) {
  const context = await browser.newContext(options);
  const page = await context.newPage();
  page.on('console', message => {
    if (['error', 'warning'].includes(message.type())) complaints.push(`${message.text()} ${message.location().url}`);
  });
  page.on('pageerror', error => complaints.push(String(error)));
  page.on('dialog', dialog => complaints.push(`dialog: ${dialog.message()}`));
  page.on('request', request => {
    if (!request.url().startsWith(`${address}/`)) complaints.push(`a request elsewhere: ${request.url()}`);
  });
  await page.goto(address);
  await page.waitForSelector('#link.live');
  return page;
}

async function pictureMoves(page, pictures = 3) {
  const seen = new Set();
  await eventually(async () => seen.add((await page.locator('#lcd').screenshot()).toString('base64')).size >= pictures, 20000);
}
// What a click on `control` downloads.
async function saved(page, control) {
  const [download] = await Promise.all([page.waitForEvent('download'), control.click()]);
  return fs.readFileSync(await download.path(), 'latin1');
}
const open = (page, id) => page.locator(`#${id}`).evaluate(details => { details.open = true; });

async function checkScreen(page) {
  await check('the page shows the screen two for one, and it moves', async () => {
    await live();
    await pictureMoves(page);
    const box = await page.locator('#lcd').boundingBox();
    equal([box.width, box.height], [640, 480]);
  });
  await check('one click saves the screen', async () => {
    const png = Buffer.from(await saved(page, page.locator('#save-lcd')), 'latin1');
    equal([png.toString('latin1', 1, 4), png.readUInt32BE(16), png.readUInt32BE(20)], ['PNG', 320, 240]);
  });
}

async function checkKeys(page, keys) {
  const ways = {
    'mouse': [name => page.locator(`[data-key=${name}]`).click(), 'up left enter right down f1 f1 f2 f3 f4 f1'],
    "PC's keyboard": [name => page.keyboard.press(name), 'ArrowUp ArrowLeft ArrowRight ArrowDown Enter F1 1 2 F3 F4 F1'],
  };
  for (const [way, [press, names]] of Object.entries(ways)) {
    await check(`each key by ${way}`, async () => {
      keys.length = 0;
      for (const name of names.split(' ')) {
        const before = keys.length;
        await press(name);
        await eventually(() => keys.length > before);
      }
      equal(keys.join(' '), names.toLowerCase().replaceAll('arrow', '').replace(' 1 2 ', ' f1 f2 '));
    });
  }
  await check('a held arrow repeats, another key does not', async () => {
    keys.length = 0;
    for (const name of ['left', 'f2']) {
      await page.locator(`[data-key=${name}]`).hover();
      await page.mouse.down();
      await page.waitForTimeout(900);
      await page.mouse.up();
    }
    equal([keys.filter(key => key === 'left').length >= 3, keys.filter(key => key === 'f2').length], [true, 1]);
  });
  await check('the lamp follows its keys', async () => {
    await eventually(async () => {
      await page.keyboard.press('ArrowRight');
      return (await board()).lamp === 104;
    });
    await eventually(async () => (await page.locator('#lamp-value').textContent()) === '100 %');
    await eventually(async () => await page.locator('#lamp-bulb').evaluate(bulb => getComputedStyle(bulb).opacity) > 0.9);
  });
}

async function checkSwitches(page) {
  const switches = {
    'Plugged in': state => state.camera.plugged, 'Charger plugged in': state => state.battery.charger,
    'Memory card inserted': state => state.card.inserted, 'Card write-protected': state => state.card.read_only,
    'Internal storage mounted': state => state.nand.mounted, 'TV cable': state => state.tv_cable,
  };
  for (const fault of ['dqbuf-stuck', 'dqbuf-eio', 'streamon-refused', 'qbuf-refused', 'short-frame', 'size-refused', 'format-other',
    'error-flag']) switches[fault] = state => state.camera.faults.includes(fault);
  for (const [label, read] of Object.entries(switches)) {
    await check(`switch: ${label}`, async () => {
      const before = read(await board());
      const control = page.getByLabel(label, {exact: true});
      for (const wanted of [!before, before]) {
        await control.click();
        await becomes(read, wanted);
        await eventually(async () => await control.isChecked() === wanted);
      }
    });
  }
}

async function checkFields(page, keys) {
  await check('battery by slider and keyboard', async () => {
    await page.getByLabel('Battery').focus();
    const before = (await board()).battery.millivolts;
    keys.length = 0;
    await page.keyboard.press('ArrowLeft');
    await becomes(state => state.battery.millivolts, before - 1);
    equal(keys, []);
    for (const [millivolts, text] of [[1309, '1309 mV · 4 %'], [2046, '2046 mV · 100 %']]) {
      await patch({battery: {millivolts}});
      await eventually(async () => (await page.locator('#millivolts-text').textContent()) === text);
    }
  });
  const fields = [
    ['Card size', '512', state => state.card.size_kib, 524288], ['Card free', '5000', state => state.card.free_kib, 5000],
    ['Slow card', '80', state => state.card.write_ms, 80], ['Slow card', '0', state => state.card.write_ms, 0],
    ['Internal size', '64', state => state.nand.size_kib, 65536], ['Internal free', '2047', state => state.nand.free_kib, 2047],
    ['Picture', `file:${process.cwd()}/img/sd.png`, state => state.camera.source, `file:${process.cwd()}/img/sd.png`],
    ['Picture', 'scene', state => state.camera.source, 'scene'],
  ];
  for (const [label, value, read, expected] of fields) {
    await check(`field: ${label} ${value.split('/').pop()}`, async () => {
      await page.getByLabel(label, {exact: true}).fill(value);
      await page.keyboard.press('Enter');
      await becomes(read, expected);
    });
  }
  await check('the next start by its list', async () => {
    for (const display of ['lcd_panel=tvenc_ntsc', 'lcd_panel=ili9341']) {
      await page.getByLabel('Next start on').selectOption(display);
      await becomes(state => state.lcdparams, display);
    }
  });
  await check('the clock', async () => {
    await page.locator('summary', {hasText: 'Clock'}).click();
    await page.getByLabel('Date and time').fill('2012-02-29T12:34:56');
    await page.getByRole('button', {name: 'Set the clock'}).click();
    await becomes(state => state.rtc.slice(0, 15), '2012-02-29T12:3');
    await page.getByRole('button', {name: 'As on this PC'}).click();
    await becomes(state => state.rtc.slice(0, 4), String(new Date().getFullYear()));
  });
  await check('what is wrong is told, and nothing set', async () => {
    await page.getByLabel('Picture', {exact: true}).fill('telescope');
    await page.keyboard.press('Enter');
    await page.locator('#error:not([hidden])').waitFor();
    equal((await board()).camera.source, 'scene');
    await page.getByLabel('Picture', {exact: true}).press('Escape');
    await eventually(async () => (await page.getByLabel('Picture', {exact: true}).inputValue()) === 'scene');
  });
}

async function checkLog(page) {
  const text = () => page.locator('#log').textContent();
  const grow = async () => {
    const before = (await log()).length;
    await patch({camera: {plugged: false}});
    await eventually(async () => (await log()).length > before);
    await patch({camera: {plugged: true}});
    await live();
  };
  const atEnd = () => page.locator('#log').evaluate(element => element.scrollTop + element.clientHeight > element.scrollHeight - 9);
  const follows = () => eventually(async () => (await text()) === await log() && await atEnd());
  await check('the log follows, pauses and goes on', async () => {
    await eventually(async () => (await text()).includes('val:255'));
    await grow();
    await follows();
    await page.getByRole('button', {name: 'Pause'}).click();
    await page.waitForTimeout(600);  // a part that was under way
    const before = await text();
    await grow();
    await eventually(async () => (await page.locator('#log-news').textContent()).includes('more'));
    equal(await text(), before);
    await page.getByRole('button', {name: 'Go on'}).click();
    await follows();
  });
}

async function checkFiles(page) {
  const hostile = '<img src=x onerror=alert(1)>"\'&%2e%2e#?.txt';
  await patch({card: {size_kib: 1048576}});
  fs.mkdirSync(`${media}/card/DCIM`, {recursive: true});
  fs.writeFileSync(`${media}/card/DCIM/${hostile}`, 'hello');
  const list = page.locator('#files-card .files');
  await check('pictures and films have previews', async () => {
    for (const suffix of ['jpg', 'avi']) {
      const has = async () => (await files()).some(file => file.path.endsWith(suffix) && file.bytes > 50000);
      // Mode and state depend on the keys pressed before: try both.
      for (let i = 0; i < 4 && !await has(); i++) {
        await page.locator('[data-key=enter]').click();
        await page.waitForTimeout(3000);
        await page.locator('[data-key=enter]').click();
        await page.waitForTimeout(2000);
        if (!await has()) await page.locator('[data-key=f3]').click();
      }
      equal(await has(), true);
    }
    await open(page, 'files-card');
    await list.scrollIntoViewIfNeeded();
    await eventually(() => list.locator('img').evaluateAll(images => images.some(image => image.naturalWidth > 0)));
    await eventually(() => list.locator('canvas').evaluateAll(all => all.some(canvas => canvas.width === 320 &&
      canvas.getContext('2d').getImageData(160, 20, 1, 1).data[3] === 255)));
  });
  await check('a file is saved as it is, whatever its name, and a pulled card takes its list along', async () => {
    const item = list.locator('li', {hasText: 'onerror'});
    equal(await item.locator('.file-name').textContent(), `DCIM/${hostile}`);
    equal(await saved(page, item.locator('.save')), 'hello');
    await patch({card: {inserted: false}});
    await eventually(async () => await list.locator('li').count() === 0);
    await patch({card: {inserted: true}});
    await eventually(async () => await list.locator('li').count() >= 3);
  });
}

async function checkUsb(page) {
  const cable = page.getByLabel('USB cable to a PC');
  const card = page.locator('.drive', {hasText: 'memory card'});
  await check('the page shows what a PC at the cable sees', async () => {
    await live();
    await cable.click();
    await page.locator('.drive', {hasText: 'internal storage'}).waitFor();
    await eventually(async () => await card.locator('li').count() === (await files()).length);
    equal(await saved(page, card.locator('li', {hasText: 'onerror'}).locator('.save')), 'hello');
    await patch({card: {inserted: false}});
    await page.locator('.drive', {hasText: 'no medium'}).waitFor();
    await patch({card: {inserted: true}});
    await cable.click();
    await page.locator('#pc').waitFor({state: 'hidden'});
    await becomes(state => state.usb_units.join(''), '');
    await live();
    equal(await page.locator('#usb-violations').textContent(), 'none');
  });
}

async function checkKeyboardOnly(page) {
  await check('the keyboard alone reaches everything, in order, visibly, and gets out again', async () => {
    const found = await page.evaluate(() => [...document.querySelectorAll('button, input, select, summary, a, [tabindex="0"]')]
      .filter(control => control.checkVisibility() && control.tabIndex >= 0).map((control, i) => {
        control.dataset.order = i;
        return (control.getAttribute('aria-label') || control.labels?.[0]?.textContent || control.textContent).trim();
      }));
    equal(found.filter(name => name === ''), []);
    await page.locator('[data-order="0"]').focus();
    const order = [0];
    const invisible = [];
    for (let i = 0; i < found.length * 5; i++) {
      await page.keyboard.press('Tab');
      const [at, visible] = await page.evaluate(() => {
        const element = document.activeElement;
        const shown = element.closest('.faults label') ?? element;
        return [Number(element.dataset.order ?? -1), getComputedStyle(shown).outlineStyle === 'solid'];
      });
      if (at < 0) break;
      if (order.at(-1) !== at) order.push(at);  // a date has several parts
      if (!visible) invisible.push(found[at]);
    }
    equal(order, found.map((_, i) => i));
    equal(invisible, []);
  });
}

async function checkRestart(page) {
  await check('restart starts the program again, also one that was switched off, which is told', async () => {
    const before = (await log()).length;
    await page.locator('#restart').click();
    await eventually(async () => (await log(before)).includes('val:255'), 15000);
    await becomes(state => state.program.running, true);
    await pictureMoves(page);
    await page.getByLabel('Power-off request').click();
    await becomes(state => state.powered_off, true, 30000);
    await page.locator('#lcd-note', {hasText: 'Powered off'}).waitFor();
    await page.locator('#restart').click();
    await page.locator('#lcd-note').waitFor({state: 'hidden'});
    await pictureMoves(page);
  });
  let again = null;
  await check('a board that hangs, or was started anew, is told and found again, and its log followed', async () => {
    process.kill(Number(boardPid), 'SIGSTOP');
    await page.locator('#lcd-note', {hasText: 'does not answer'}).waitFor();
    process.kill(Number(boardPid), 'SIGCONT');
    await page.waitForSelector('#link.live');
    await pictureMoves(page);
    process.kill(Number(boardPid));
    await page.locator('#lcd-note', {hasText: 'does not answer'}).waitFor();
    again = spawn(program, ['--port', new URL(address).port, '--media', media], {stdio: 'ignore'});
    await page.waitForSelector('#link.live', {timeout: 15000});
    await page.locator('#lcd-note').waitFor({state: 'hidden'});
    await eventually(async () => (await page.locator('#log').textContent()) === await log());
    await live();
    await pictureMoves(page);
  });
  return again;
}

async function checkLayouts(browser, complaints) {
  for (const [name, width, height] of [['wide', 1920, 1080], ['desktop', 1500, 900], ['laptop', 1280, 800], ['tablet', 820, 1180],
    ['phone', 360, 740]]) {
    for (const colorScheme of ['light', 'dark']) {
      const page = await openPage(browser, {viewport: {width, height}, colorScheme}, complaints);
      await eventually(() => page.evaluate(() => Number(document.getElementById('lcd').dataset.pictures) > 0));
      await page.locator('details').evaluateAll(all => all.forEach(details => { details.open = true; }));
      await eventually(async () => await page.locator('#files-card img').count() > 0 || name !== 'wide');
      await page.screenshot({path: `${folder}/${name}-${colorScheme}.png`, fullPage: true});
      await check(`${name}, ${colorScheme}: nothing sticks out or is cut off`, async () =>
        equal(await page.evaluate(() => {
          const inside = (outer, selector) => [...outer.querySelectorAll(selector)].filter(part => part.checkVisibility())
            .filter(part => {
              const [box, room] = [part.getBoundingClientRect(), outer.getBoundingClientRect()];
              return box.left < room.left || box.right > room.right + 0.5 || part.scrollWidth > part.clientWidth + 1 && part.matches('button');
            }).map(part => part.outerHTML.slice(0, 80));
          return [document.documentElement.scrollWidth <= innerWidth, inside(document.querySelector('.shell'), '.key, .bezel'),
            ...[...document.querySelectorAll('details')].map(details => inside(details, 'button, input, select, output, a, .row > *'))].flat();
        }), [true]));
      await page.context().close();
    }
  }
}

async function main() {
  const browser = await chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--headless', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
      '--disable-sync', '--no-first-run'],
  });
  if (picturePath) {
    const page = await openPage(browser, {viewport: {width: 1600, height: 1000}, colorScheme: 'light'}, []);
    await live();
    await page.keyboard.press('ArrowRight');
    await pictureMoves(page, 10);
    await page.screenshot({path: picturePath});
    return browser.close();
  }
  const complaints = [];
  const page = await openPage(browser, {viewport: {width: 1500, height: 900}}, complaints);
  // Key presses that reach the board, by the requests the page makes.
  const keys = [];
  page.on('request', request => keys.push(...(request.method() === 'POST' && /(?<=\/keys\/)\w+$/.exec(request.url()) || [])));
  await checkScreen(page);
  await checkKeys(page, keys);
  await checkSwitches(page);
  await checkFields(page, keys);
  await checkLog(page);
  await checkFiles(page);
  await checkUsb(page);
  await checkKeyboardOnly(page);
  await check('nothing goes elsewhere, and the console tells nothing but the refused change and the pulled card', async () =>
    equal(complaints.filter(text => !/ 400 .*\/board$| 404 .*\/files\/card$/.test(text)), []));
  const again = await checkRestart(page);
  await page.context().close();
  await checkLayouts(browser, complaints);
  await browser.close();
  again?.kill();
}

main().then(() => process.exit(failures ? 1 : 0), error => {
  console.log(`not ok - the panel in a browser\n    ${error.stack}`);
  process.exit(1);
});
