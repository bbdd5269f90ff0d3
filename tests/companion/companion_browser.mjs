// Drives the phone companion in Debian's headless Chromium against a running desktop (the test
// program that starts this one holds the record store, the bridge, the mirrors and the fake
// daemon). Each step acts as a person would and then waits for its effect in the vault's files.
// Exits 0 when every step held, else prints the step that failed and exits 1.
//
// Environment: COMPANION_URL, TOOLS_DIR, WORK_DIR (a scratch folder), QUESTION_FILE (the typed
// answer's question file), OFFLINE_QUESTION_FILE, LIST_FILE, VOICE_FOLDER, SCREENSHOTS (optional
// folder for phone-sized PNGs of the inbox, a close status and a ledger in light and dark),
// FAILURE_FOLDER (optional: where a failed run leaves a screenshot of the page).
import { createRequire } from 'node:module';
import fs from 'node:fs';
import path from 'node:path';

const env = (name) => {
  if (!process.env[name]) throw new Error(`${name} is not set`);
  return process.env[name];
};
const { chromium } = createRequire(path.join(env('TOOLS_DIR'), 'package.json'))('playwright-core');
const work = env('WORK_DIR');
const read = (file) => (fs.existsSync(file) ? fs.readFileSync(file, 'utf8') : '');

// Polls a condition on the files; the browser's own waits cover the page.
async function until(what, condition, seconds = 30) {
  const deadline = Date.now() + seconds * 1000;
  while (Date.now() < deadline) {
    if (await condition()) return;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  throw new Error(`timed out waiting until ${what}`);
}

// One second of a 440 Hz tone as 16-bit mono PCM: the microphone Chromium is given.
function writeTone(file) {
  const rate = 16000;
  const samples = rate;
  const data = Buffer.alloc(samples * 2);
  for (let i = 0; i < samples; i += 1) {
    data.writeInt16LE(Math.round(Math.sin((2 * Math.PI * 440 * i) / rate) * 12000), i * 2);
  }
  const header = Buffer.alloc(44);
  header.write('RIFF', 0); header.writeUInt32LE(36 + data.length, 4); header.write('WAVE', 8);
  header.write('fmt ', 12); header.writeUInt32LE(16, 16); header.writeUInt16LE(1, 20);
  header.writeUInt16LE(1, 22); header.writeUInt32LE(rate, 24); header.writeUInt32LE(rate * 2, 28);
  header.writeUInt16LE(2, 32); header.writeUInt16LE(16, 34);
  header.write('data', 36); header.writeUInt32LE(data.length, 40);
  fs.writeFileSync(file, Buffer.concat([header, data]));
}

const tone = path.join(work, 'tone.wav');
writeTone(tone);
const browser = await chromium.launchPersistentContext(path.join(work, 'profile'), {
  executablePath: '/usr/bin/chromium',
  headless: true,
  viewport: { width: 390, height: 844 },
  deviceScaleFactor: 2,
  permissions: ['microphone'],
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
         '--disable-background-networking', '--disable-component-update', '--disable-sync',
         '--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream',
         `--use-file-for-fake-audio-capture=${tone}`],
});
let step = 'opening the companion';
const page = browser.pages()[0] || (await browser.newPage());
page.setDefaultTimeout(30000);
const card = (text) => page.locator('article.card', { hasText: text });
try {
  await page.goto(env('COMPANION_URL'));
  // The app's files are kept once its worker is active; only then does it open offline.
  await page.evaluate(() => navigator.serviceWorker.ready.then(() => true));

  step = 'seeing the card the desktop wrote';
  const vat = card('Which VAT rate applies to the March invoice?');
  await vat.waitFor();
  await card('Was the lunch on the 12th a business expense?').waitFor();

  step = 'answering with a suggested action';
  await vat.getByRole('button', { name: 'Reduced rate' }).click();
  await until('the question file holds the answer', () =>
    /status: answered/.test(read(env('QUESTION_FILE'))) && /Reduced rate/.test(read(env('QUESTION_FILE'))));
  await vat.locator('.state.applied', { hasText: 'applied' }).waitFor();

  step = 'ticking a list item';
  await page.getByRole('tab', { name: 'Lists' }).click();
  await page.getByRole('checkbox', { name: 'Milk' }).check();
  await until('the list file ticks Milk', () => read(env('LIST_FILE')).includes('- [x] Milk'));
  if (read(env('LIST_FILE')).includes('- [x] Bread')) throw new Error('Bread was ticked with Milk');

  step = 'answering by voice';
  await page.getByRole('tab', { name: 'Inbox' }).click();
  const lunch = card('Was the lunch on the 12th a business expense?');
  await lunch.getByRole('button', { name: 'Record' }).click();
  await lunch.getByRole('button', { name: /Stop and send \(0:01\)/ }).click();
  await lunch.locator('.state.transcribing', { hasText: 'transcribing …' }).waitFor();
  // The desktop's progress comes back to the card.
  await lunch.locator('.state.transcribing', { hasText: '40%' }).waitFor();
  await lunch.locator('.partial', { hasText: 'Yes it was' }).waitFor();
  let clip = '';
  await until('the clip is saved into voice-answers', () => {
    const names = fs.existsSync(env('VOICE_FOLDER')) ? fs.readdirSync(env('VOICE_FOLDER')) : [];
    clip = names.find((n) => /^lunch-expense-\d+\.webm$/.test(n)) || '';
    return clip && fs.statSync(path.join(env('VOICE_FOLDER'), clip)).size > 1000;
  });
  const saved = fs.readFileSync(path.join(env('VOICE_FOLDER'), clip));
  if (saved.subarray(0, 4).toString('hex') !== '1a45dfa3') throw new Error(`${clip} is no WebM recording`);

  if (process.env.SCREENSHOTS) {
    step = 'taking screenshots';
    const out = process.env.SCREENSHOTS;
    fs.mkdirSync(out, { recursive: true });
    for (const scheme of ['light', 'dark']) {
      await page.emulateMedia({ colorScheme: scheme });
      await page.getByRole('tab', { name: 'Inbox' }).click();
      await page.screenshot({ path: path.join(out, `inbox-${scheme}.png`) });
      await page.getByRole('tab', { name: 'Close' }).click();
      await page.locator('article.close').first().waitFor();
      await page.screenshot({ path: path.join(out, `close-${scheme}.png`) });
      await page.locator('.ledger li').last().scrollIntoViewIfNeeded();
      await page.screenshot({ path: path.join(out, `ledger-${scheme}.png`) });
      await page.getByRole('tab', { name: 'Lists' }).click();
      await page.screenshot({ path: path.join(out, `lists-${scheme}.png`) });
    }
    await page.emulateMedia({ colorScheme: null });
  }

  step = 'opening the app offline';
  await browser.setOffline(true);
  await page.reload();
  const later = card('Which account should the new laptop go to?');
  await later.waitFor();
  step = 'saying it is offline';
  await page.locator('#sync', { hasText: 'Offline' }).waitFor();
  step = 'answering and ticking offline';
  await later.getByRole('textbox', { name: 'Your answer' }).fill('Office equipment');
  await later.getByRole('button', { name: 'Send' }).click();
  await later.locator('.state.sent').waitFor();
  await page.getByRole('tab', { name: 'Lists' }).click();
  await page.getByRole('checkbox', { name: 'Bread' }).check();
  if (/Office equipment/.test(read(env('OFFLINE_QUESTION_FILE')))) throw new Error('the answer left while offline');

  step = 'syncing once back online';
  await browser.setOffline(false);
  await until('the list file ticks Bread', () => read(env('LIST_FILE')).includes('- [x] Bread'));
  await until('the offline answer reaches its question file', () =>
    /Office equipment/.test(read(env('OFFLINE_QUESTION_FILE'))));
  await page.getByRole('tab', { name: 'Inbox' }).click();
  await later.locator('.state.applied').waitFor();
  console.log('companion: every step held');
} catch (error) {
  console.error(`companion: failed while ${step}: ${error.message}`);
  await page.screenshot({ path: path.join(process.env.FAILURE_FOLDER || work, 'failure.png') }).catch(() => {});
  process.exitCode = 1;
} finally {
  await browser.close();
}
