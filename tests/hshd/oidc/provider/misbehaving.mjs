// An identity provider that misbehaves: `node misbehaving.mjs '{"how": "wrong-audience"}'`. Everything else is
// right. Says {"issuer": ADDRESS} on stdout once it answers, and ends when its stdin closes. Nobody is asked:
// /auth answers at once. Its secrets are "secret-code", "secret-access" and "secret-refresh".

import { constants, createHash, createHmac, generateKeyPairSync, sign } from 'node:crypto';
import { createServer } from 'node:http';
import { text } from 'node:stream/consumers';

const { how } = JSON.parse(process.argv[2]);
const rsa = generateKeyPairSync('rsa', { modulusLength: 2048 });
const former = generateKeyPairSync('rsa', { modulusLength: 2048 });
const weak = generateKeyPairSync('rsa', { modulusLength: 1024 });
const curve = generateKeyPairSync('ec', { namedCurve: 'P-256' });
const edwards = generateKeyPairSync('ed25519');
const published = (pair, kid) => ({ ...pair.publicKey.export({ format: 'jwk' }), kid, use: 'sig' });
const base64 = (value) => Buffer.from(typeof value === 'string' ? value : JSON.stringify(value)).toString('base64url');
let nonce;
let keysAsked = 0;

const signers = {
  RS256: ['k1', (data) => sign('sha256', data, rsa.privateKey)],
  PS256: ['k1', (data) => sign('sha256', data, { key: rsa.privateKey, padding: constants.RSA_PKCS1_PSS_PADDING, saltLength: 32 })],
  ES256: ['k2', (data) => sign('sha256', data, { key: curve.privateKey, dsaEncoding: 'ieee-p1363' })],
  EdDSA: ['k3', (data) => sign(null, data, edwards.privateKey)],
  none: [undefined, () => Buffer.alloc(0)],
  HS256: ['k1', (data) => createHmac('sha256', rsa.publicKey.export({ type: 'spki', format: 'pem' })).update(data).digest()],
};

function idToken() {
  const now = Math.floor(Date.now() / 1000);
  const hash = how === 'EdDSA' ? createHash('sha512').update('secret-access').digest().subarray(0, 32)
    : createHash('sha256').update('secret-access').digest().subarray(0, 16);
  const claims = {
    iss: issuer, aud: 'desktop', sub: 'ada', iat: now, exp: now + 300, nonce, name: 'Ada', given_name: 'Ada',
    at_hash: hash.toString('base64url'),
    ...{
      'wrong-issuer': { iss: 'https://elsewhere.example' },
      'wrong-audience': { aud: 'another' },
      'wrong-party': { aud: ['desktop', 'another'], azp: 'another' },
      'two-audiences': { aud: ['desktop', 'another'] },
      expired: { iat: now - 900, exp: now - 300 },
      future: { iat: now + 300, exp: now + 900 },
      nobody: { sub: undefined },
      'wrong-nonce': { nonce: 'of-another-request' },
      'no-nonce': { nonce: undefined },
      'wrong-hash': { at_hash: 'AAAAAAAAAAAAAAAAAAAAAA' },
    }[how],
  };
  const alg = how in signers ? how : 'RS256';
  let [kid, signer] = signers[alg];
  if (how === 'unknown-key') kid = 'k9';
  if (how === 'weak-key') [kid, signer] = ['k4', (data) => sign('sha256', data, weak.privateKey)];
  if (how === 'wrong-signature') signer = (data) => sign('sha256', data, former.privateKey);
  const header = { alg, kid, ...(how === 'critical' && { crit: ['x'], x: 1 }) };
  const data = `${base64(header)}.${base64(claims)}`;
  return `${data}.${signer(Buffer.from(data)).toString('base64url')}`;
}

function keys() {
  keysAsked += 1;
  if (how === 'rotated-key' && keysAsked === 1) return [published(former, 'k0')];
  return [published(rsa, 'k1'), published(curve, 'k2'), published(edwards, 'k3'), published(weak, 'k4')];
}

function authorize(query) {
  nonce = query.get('nonce');
  const target = new URL(query.get('redirect_uri'));
  if (how === 'another-path') target.pathname = '/elsewhere';
  target.searchParams.set('code', 'secret-code');
  target.searchParams.set('state', how === 'another-state' ? 'of-another-request' : query.get('state'));
  if (how !== 'unnamed') target.searchParams.set('iss', how === 'another-issuer' ? 'https://elsewhere.example' : issuer);
  return target.href;
}

function answerToken(response) {
  const fields = { access_token: 'secret-access', token_type: 'Bearer', expires_in: 300, refresh_token: 'secret-refresh', id_token: idToken() };
  if (how === 'no-id-token') delete fields.id_token;
  if (how === 'strange-type') fields.token_type = 'mac';
  const [status, headers, body] = {
    500: [500, {}, 'secret-access'],
    429: [429, { 'retry-after': '7' }, ''],
    redirected: [302, { location: 'https://elsewhere.example/token' }, ''],
    'cut-off': [200, { 'content-length': 5000 }, '{'],
    huge: [200, {}, `{"access_token": "${'x'.repeat(10_000_000)}"}`],
    'no-json': [200, {}, '<html>secret-access</html>'],
    used: [400, {}, '{"error": "invalid_grant", "error_description": "the code was\\u001b[2J used"}'],
  }[how] ?? [200, { 'content-type': 'application/json' }, JSON.stringify(fields)];
  if (how === 'silent') return;
  response.writeHead(status, headers);
  how === 'cut-off' ? response.write(body, () => response.destroy()) : response.end(body);
}

const server = createServer(async (request, response) => {
  const url = new URL(request.url, issuer);
  const reply = (value) => response.end(JSON.stringify(value));
  await text(request);
  if (url.pathname === '/token') return answerToken(response);
  if (url.pathname === '/jwks') return reply({ keys: keys() });
  if (url.pathname === '/me') return reply({ sub: how === 'another-person' ? 'eve' : 'ada', email: 'ada@example.org' });
  if (url.pathname === '/auth') return response.writeHead(302, { location: authorize(url.searchParams) }).end();
  return reply({
    issuer: how === 'described-otherwise' ? 'https://elsewhere.example' : issuer,
    authorization_endpoint: `${issuer}/auth`,
    token_endpoint: how === 'clear-text' ? 'http://elsewhere.example/token' : `${issuer}/token`,
    jwks_uri: `${issuer}/jwks`,
    userinfo_endpoint: `${issuer}/me`,
    authorization_response_iss_parameter_supported: true,
    ...(how === 'plain-challenges' && { code_challenge_methods_supported: ['plain'] }),
  });
});
let issuer;
server.listen(0, '127.0.0.1', () => {
  issuer = `http://127.0.0.1:${server.address().port}`;
  console.log(JSON.stringify({ issuer }));
});
process.stdin.resume().on('end', () => process.exit()).on('error', () => process.exit());
