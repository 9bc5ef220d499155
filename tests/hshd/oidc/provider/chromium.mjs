// A person with Chromium: `node chromium.mjs ADDRESS NAME PICTURE.png`.
//
// Opens ADDRESS in a window of 900 by 600, signs in as NAME with some password and agrees to
// whatever is asked, until the application's page under /callback, or any page without a form,
// stands there. Writes that page's picture; status 0 if the page came with 200, else 1. The browser
// is $CHROMIUM or /usr/bin/chromium, headless, and reaches nothing but this machine.

import puppeteer from 'puppeteer-core';

const [address, name, picture] = process.argv.slice(2);
if (!picture) {
  console.error('usage: node chromium.mjs ADDRESS NAME PICTURE.png');
  process.exit(1);
}

// Waits until the page is one to fill in (true) or the last one (false). A page that submits its
// form by itself is neither.
async function hasQuestion(page) {
  const state = await page.waitForFunction(() => {
    if (document.readyState !== 'complete') return undefined;
    if (window.location.pathname === '/callback' || !document.forms.length) return 'last';
    return document.querySelector('button[type=submit]') && 'question';
  });
  return await state.jsonValue() === 'question';
}

async function browse(browser) {
  const page = await browser.newPage();
  let status;
  page.on('response', (response) => {
    if (response.request().isNavigationRequest()) status = response.status();
  });
  await page.goto(address);
  while (await hasQuestion(page)) {
    if (await page.$('input[name=login]')) {
      await page.type('input[name=login]', name);
      await page.type('input[name=password]', 'any password');
    }
    await Promise.all([page.waitForNavigation(), page.click('button[type=submit]')]);
  }
  await page.screenshot({ path: picture });
  if (status !== 200) console.error(`the last page came with ${status}: ${page.url()}`);
  return status === 200;
}

const browser = await puppeteer.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: [
    '--no-sandbox',
    '--window-size=900,600',
    '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1, EXCLUDE [::1], EXCLUDE localhost',
  ],
  defaultViewport: { width: 900, height: 600 },
});
try {
  process.exitCode = await browse(browser) ? 0 : 1;
} catch (error) {
  console.error(error.message);
  process.exitCode = 1;
} finally {
  await browser.close();
}
