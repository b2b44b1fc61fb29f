// Uses the panel as people do: node panel.js ADDRESS SCREENSHOT-FOLDER. Prints one line for each check, as scripts/checks.sh.
'use strict';

const {chromium} = require('playwright-core');
const crypto = require('node:crypto');

const [address, folder] = process.argv.slice(2);
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
function equal(actual, expected) {
  if (JSON.stringify(actual) !== JSON.stringify(expected)) {
    throw new Error(`is ${JSON.stringify(actual)}, expected ${JSON.stringify(expected)}`);
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
const patch = body => fetch(`${address}/board`, {method: 'PATCH', body: JSON.stringify(body)});

// Key presses that reach the board, by the requests the page makes.
function countKeys(page) {
  const keys = [];
  page.on('request', request => {
    const found = request.method() === 'POST' && /\/keys\/(\w+)$/.exec(request.url());
    if (found) keys.push(found[1]);
  });
  return keys;
}

async function openPage(browser, options, complaints) {
  const context = await browser.newContext(options);
  const page = await context.newPage();
  page.on('console', message => {
    if (['error', 'warning'].includes(message.type())) complaints.push(`${message.text()} ${message.location().url}`);
  });
  page.on('pageerror', error => complaints.push(String(error)));
  await page.goto(address);
  await page.waitForSelector('#link.live');
  return page;
}

async function picture(page) {
  const image = await page.locator('#lcd').screenshot();
  return crypto.createHash('md5').update(image).digest('hex');
}

async function checkScreen(page) {
  await check('the page shows the screen two for one', async () => {
    await eventually(() => page.evaluate(() => document.getElementById('lcd').naturalWidth === 320));
    const box = await page.locator('#lcd').boundingBox();
    equal([box.width, box.height], [640, 480]);
  });
  await check('the live picture moves', async () => {
    await eventually(async () => (await board()).camera.streaming, 20000);
    const seen = new Set();
    await eventually(async () => seen.add(await picture(page)).size >= 3);
  });
}

async function checkKeys(page, keys) {
  await check('each key by mouse', async () => {
    const names = ['up', 'left', 'enter', 'right', 'down', 'f1', 'f1', 'f2', 'f3', 'f4', 'f1'];
    keys.length = 0;
    for (const name of names) {
      const before = keys.length;
      await page.locator(`[data-key=${name}]`).click();
      await eventually(() => keys.length > before);
    }
    equal(keys, names);
  });
  await check("each key by the PC's keyboard", async () => {
    keys.length = 0;
    for (const name of ['ArrowUp', 'ArrowLeft', 'ArrowRight', 'ArrowDown', 'Enter', 'F1', '1', '2', 'F3', 'F4', 'F1']) {
      const before = keys.length;
      await page.keyboard.press(name);
      await eventually(() => keys.length > before);
    }
    equal(keys, ['up', 'left', 'right', 'down', 'enter', 'f1', 'f1', 'f2', 'f3', 'f4', 'f1']);
  });
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
    const bulb = await page.locator('#lamp-bulb').evaluate(element => getComputedStyle(element).opacity);
    await eventually(async () => bulb > 0.9 ||
      await page.locator('#lamp-bulb').evaluate(element => getComputedStyle(element).opacity) > 0.9);
  });
}

async function checkControls(page, keys) {
  const switches = {
    'Plugged in': state => state.camera.plugged, 'Charger plugged in': state => state.battery.charger,
    'Memory card inserted': state => state.card.inserted, 'Card write-protected': state => state.card.read_only,
    'TV cable': state => state.tv_cable,
  };
  for (const [label, read] of Object.entries(switches)) {
    await check(`switch: ${label}`, async () => {
      const before = read(await board());
      await page.getByLabel(label, {exact: true}).click();
      await eventually(async () => read(await board()) === !before);
      await page.getByLabel(label, {exact: true}).click();
      await eventually(async () => read(await board()) === before);
    });
  }
  await check('battery by slider and keyboard', async () => {
    await page.getByLabel('Battery').focus();
    const before = (await board()).battery.millivolts;
    keys.length = 0;
    await page.keyboard.press('ArrowLeft');
    await eventually(async () => (await board()).battery.millivolts === before - 1);
    equal(keys, []);
  });
  await check('free space by its field', async () => {
    await page.getByLabel('Free on the card').fill('5000');
    await page.keyboard.press('Enter');
    await eventually(async () => (await board()).card.free_kib === 5000);
  });
  await check('a fault on and off', async () => {
    await page.getByLabel('error-flag').check();
    await eventually(async () => (await board()).camera.faults.join() === 'error-flag');
    await page.getByLabel('error-flag').uncheck();
    await eventually(async () => (await board()).camera.faults.length === 0);
  });
  await check('a wrong source is told', async () => {
    await page.getByLabel('Picture', {exact: true}).fill('telescope');
    await page.keyboard.press('Enter');
    await page.locator('#error:not([hidden])').waitFor();
    equal((await board()).camera.source, 'scene');
    await page.getByLabel('Picture', {exact: true}).press('Escape');
    await eventually(async () => (await page.getByLabel('Picture', {exact: true}).inputValue()) === 'scene');
  });
  await check('the log is live', async () => {
    await page.locator('#log-panel summary').click();
    await eventually(async () => (await page.locator('#log').textContent()).includes('val:255'));
    const before = (await page.locator('#log').textContent()).length;
    await patch({camera: {plugged: false}});
    await eventually(async () => (await page.locator('#log').textContent()).length > before);
    await patch({camera: {plugged: true}});
  });
  await check('every control is reached by keyboard and has a name', async () => {
    const nameless = await page.evaluate(() => [...document.querySelectorAll('button, input, summary, a')].filter(control =>
      control.tabIndex < 0 || !(control.getAttribute('aria-label') || control.labels?.[0]?.textContent || control.textContent)
        .trim()).map(control => control.outerHTML));
    equal(nameless, []);
    await page.locator('[data-key=up]').focus();
    await page.keyboard.press('Tab');
    const outline = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
    equal([await page.evaluate(() => document.activeElement.dataset.key), outline], ['left', 'solid']);
  });
}

async function checkRestart(page) {
  await check('restart starts the program again', async () => {
    const before = (await (await fetch(`${address}/log`)).text()).length;
    await page.locator('#restart').click();
    await eventually(async () => (await (await fetch(`${address}/log?from=${before}`)).text()).includes('val:255'), 15000);
    await eventually(async () => (await board()).program.running);
  });
  await check('a page whose connection was cut connects again', async () => {
    await page.context().setOffline(true);
    await page.waitForSelector('#link:not(.live)');
    await page.context().setOffline(false);
    await page.waitForSelector('#link.live');
    const seen = new Set();
    await eventually(async () => seen.add(await picture(page)).size >= 2, 20000);
  });
}

async function main() {
  const browser = await chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--headless', '--disable-gpu', '--disable-background-networking', '--disable-component-update',
      '--disable-sync', '--no-first-run'],
  });
  const complaints = [];
  const page = await openPage(browser, {viewport: {width: 1500, height: 900}}, complaints);
  const keys = countKeys(page);
  await checkScreen(page);
  await checkKeys(page, keys);
  await checkControls(page, keys);
  await check('the console tells nothing but the refused change and the pulled card', async () =>
    equal(complaints.filter(text => !/ 400 .*\/board$| 404 .*\/files\/card$/.test(text)), []));
  await checkRestart(page);

  for (const [name, width, height] of [['desktop', 1500, 900], ['laptop', 1280, 800], ['phone', 390, 844]]) {
    for (const colorScheme of ['light', 'dark']) {
      const other = await openPage(browser, {viewport: {width, height}, colorScheme}, complaints);
      await eventually(() => other.evaluate(() => document.getElementById('lcd').naturalWidth === 320));
      await other.screenshot({path: `${folder}/${name}-${colorScheme}.png`, fullPage: true});
      await check(`${name}, ${colorScheme}: nothing sticks out`, async () =>
        equal(await other.evaluate(() => {
          const shell = document.querySelector('.shell').getBoundingClientRect();
          const out = [...document.querySelectorAll('.key, .bezel')].map(part => part.getBoundingClientRect())
            .filter(box => box.left < shell.left || box.right > shell.right || box.bottom > shell.bottom);
          return [document.documentElement.scrollWidth <= innerWidth, out.length];
        }), [true, 0]));
      await other.context().close();
    }
  }
  await browser.close();
}

main().then(() => process.exit(failures ? 1 : 0), error => {
  console.log(`not ok - the panel in a browser\n    ${error.stack}`);
  process.exit(1);
});
