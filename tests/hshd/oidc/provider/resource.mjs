// A program that protects something by the provider's tokens: `node resource.mjs ISSUER me|introspect`. Takes the
// token from its standard input, prints what the provider says of it.

import { text } from 'node:stream/consumers';

const [issuer, what] = process.argv.slice(2);
const token = (await text(process.stdin)).trim();
const response = what === 'me'
  ? await fetch(`${issuer}/me`, { headers: { authorization: `Bearer ${token}` } })
  : await fetch(`${issuer}/token/introspection`, {
    method: 'POST',
    headers: { authorization: `Basic ${Buffer.from('introspector:introspector-secret').toString('base64')}` },
    body: new URLSearchParams({ token }),
  });
const said = await response.json();
console.log(what === 'me' ? `${response.status} ${said.name ?? said.error}` : said.active ? 'active' : 'inactive');
