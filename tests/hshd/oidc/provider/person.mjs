// A person with a browser without scripts: `node person.mjs [--deny] ADDRESS [NAME]`.
//
// Opens ADDRESS, signs in as NAME (ada) with some password and agrees to whatever is asked, or
// cancels the sign-in with --deny. Prints the text of the last page, which for an application's
// request is the application's own under /callback; status 0 if that page came with 200, else 1.

import { once } from 'node:events';
import { request as httpRequest } from 'node:http';
import { text as textOfStream } from 'node:stream/consumers';
import { parseArgs } from 'node:util';

const { values: { deny }, positionals: [address, name = 'ada'] } = parseArgs({
  allowPositionals: true,
  options: { deny: { type: 'boolean', default: false } },
});
if (!address) {
  console.error('usage: node person.mjs [--deny] ADDRESS [NAME]');
  process.exit(1);
}

class CookieJar {
  #cookies = [];

  store(url, headers) {
    for (const line of headers ?? []) {
      const [pair, ...attributes] = line.split(';').map((part) => part.trim());
      const attribute = (key) => attributes.find((text) => text.toLowerCase().startsWith(`${key}=`))?.slice(key.length + 1);
      const [, key, value] = /^([^=]*)=(.*)$/.exec(pair);
      const cookie = { host: url.hostname, path: attribute('path') ?? '/', key, value };
      const same = (other) => ['host', 'path', 'key'].every((part) => other[part] === cookie[part]);
      this.#cookies = this.#cookies.filter((other) => !same(other));
      const expires = Date.parse(attribute('expires'));
      if (!(expires <= Date.now())) this.#cookies.push(cookie);
    }
  }

  header(url) {
    return this.#cookies
      .filter(({ host, path }) => host === url.hostname && `${url.pathname}/`.startsWith(path.replace(/\/?$/, '/')))
      .map(({ key, value }) => `${key}=${value}`)
      .join('; ');
  }
}

const entities = { amp: '&', lt: '<', gt: '>', quot: '"', nbsp: ' ' };
const decoded = (html) => html.replace(/&(?:#(\d+)|#x([0-9a-f]+)|(\w+));/gi, (all, decimal, hex, word) => {
  if (word) return entities[word] ?? all;
  return String.fromCodePoint(decimal ? Number(decimal) : parseInt(hex, 16));
});

function attributesOf(tag) {
  const found = [...tag.matchAll(/([\w-]+)="([^"]*)"/g)].map(([, key, value]) => [key, decoded(value)]);
  return Object.fromEntries(found);
}

const tagsOf = (html, name) => [...html.matchAll(new RegExp(`<${name}\\b[^>]*>`, 'g'))].map(([tag]) => attributesOf(tag));

function textOf(html) {
  return decoded(html.replace(/<(script|style|title)\b[^]*?<\/\1>/g, '').replace(/<[^>]*>/g, ' '))
    .split('\n').map((line) => line.replace(/\s+/g, ' ').trim()).filter(Boolean).join('\n');
}

// What the person does with a page: the next request, or nothing if the page is the last.
function answer(url, html) {
  const [form] = tagsOf(html, 'form');
  if (!form || url.pathname === '/callback') return undefined;
  const cancel = tagsOf(html, 'a').find(({ href }) => href?.endsWith('/abort'));
  if (deny && cancel) return { url: new URL(cancel.href, url) };

  const typed = { login: name, password: 'any password' };
  const fields = new URLSearchParams();
  for (const { name: field, value } of tagsOf(html, 'input')) {
    const text = typed[field] ?? value;
    if (text === undefined) return undefined; // asks for something this person does not know
    fields.set(field, text);
  }
  const buttons = tagsOf(html, 'button');
  const pressed = (deny && buttons.find((button) => button.name === 'abort')) || buttons[0];
  if (pressed?.name) fields.set(pressed.name, pressed.value);
  return { url: new URL(form.action, url), body: fields };
}

const jar = new CookieJar();

// No fetch, which says of itself that a script sends it: applications refuse that.
async function open({ url, body }) {
  const headers = { accept: 'text/html', 'sec-fetch-mode': 'navigate', 'sec-fetch-dest': 'document', cookie: jar.header(url) };
  if (body) headers['content-type'] = 'application/x-www-form-urlencoded';
  const sent = httpRequest(url, { method: body ? 'POST' : 'GET', headers, agent: false });
  sent.end(body?.toString());
  const [response] = await once(sent, 'response');
  jar.store(url, response.headers['set-cookie']);
  return { status: response.statusCode, location: response.headers.location, html: await textOfStream(response) };
}

async function browse() {
  let request = { url: new URL(address) };
  for (let requestsLeft = 30; ; requestsLeft -= 1) {
    const { status, location, html } = await open(request);
    const next = location ? { url: new URL(location, request.url) } : answer(request.url, html);
    if (!next || requestsLeft === 0) {
      console.log(textOf(html));
      if (next) console.error(`no end of pages; the last one: ${request.url}`);
      return !next && status === 200;
    }
    request = next;
  }
}

try {
  process.exitCode = await browse() ? 0 : 1;
} catch (error) {
  console.error(error.cause ? `${error.message}: ${error.cause.message}` : error.message);
  process.exitCode = 1;
}
