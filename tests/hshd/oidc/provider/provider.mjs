// An identity provider for the tests: `node provider.mjs [OPTIONS]`, OPTIONS a JSON object.
//
// Listens on 127.0.0.1, on a port the kernel chooses, and says {"issuer": ADDRESS} in one line on
// stdout once it answers. Ends with SIGTERM or when its stdin closes. Everybody may sign in, with
// any password; the name typed in is the subject.
//
// Options (times in seconds):
//   accessTokenSeconds, refreshTokenSeconds, deviceCodeSeconds   lifetimes
//   rotate                  whether each refresh gives a new refresh token (true)
//   deviceIntervalSeconds   the polling interval told to devices; none is told without it
//   claimsInIdToken         ID tokens hold the profile as well, not only the userinfo (false)
//
// POST /control with a JSON object, any of:
//   {"fail": {"status": 503, "retryAfter": 5, "times": 3, "error": "temporarily_unavailable"}}
//                           the next `times` requests to the token endpoint fail so
//   {"rotateKeys": true}    signs with a new key; the old one is no longer published
//   {"revokeGrants": true}  every token issued so far is invalid
// GET /control/counts says what happened so far.

import { generateKeyPairSync, randomUUID } from 'node:crypto';
import { once } from 'node:events';
import { createServer } from 'node:http';
import { json, text } from 'node:stream/consumers';
import { Provider } from 'oidc-provider';
import { activeRefreshTokens, forgetGrants, Memory } from './memory.mjs';

const day = 24 * 3600;
const acrValues = ['urn:example:password', 'urn:example:second-factor'];
const defaults = {
  accessTokenSeconds: 3600,
  refreshTokenSeconds: 14 * day,
  deviceCodeSeconds: 600,
  rotate: true,
  deviceIntervalSeconds: undefined,
  claimsInIdToken: false,
};
const options = { ...defaults, ...onlyKnown(JSON.parse(process.argv[2] ?? '{}'), Object.keys(defaults)) };
const counts = { token: 0, refresh: 0, reuseDetected: 0, revocation: 0 };
let failure = { times: 0 };

function onlyKnown(given, known) {
  const unknown = Object.keys(given).filter((key) => !known.includes(key));
  if (unknown.length) throw new Error(`unknown: ${unknown.join(', ')}; known are ${known.join(', ')}`);
  return given;
}

function account(name) {
  const given = name[0].toUpperCase() + name.slice(1);
  return {
    accountId: name,
    claims: () => ({
      sub: name,
      name: `${given} Example`,
      given_name: given,
      family_name: 'Example',
      email: `${name}@example.org`,
      locale: 'en',
    }),
  };
}

function configuration() {
  const { privateKey } = generateKeyPairSync('rsa', { modulusLength: 2048 });
  return {
    adapter: Memory,
    jwks: { keys: [{ ...privateKey.export({ format: 'jwk' }), kid: randomUUID(), use: 'sig', alg: 'RS256' }] },
    cookies: { keys: ['signs the cookies of a test'] },
    clients: [
      {
        client_id: 'desktop',
        token_endpoint_auth_method: 'none',
        application_type: 'native',
        redirect_uris: ['http://127.0.0.1/callback', 'http://[::1]/callback'],
        grant_types: ['authorization_code', 'refresh_token', 'urn:ietf:params:oauth:grant-type:device_code'],
        response_types: ['code'],
        scope: 'openid profile email offline_access',
        require_auth_time: true,
      },
      {
        client_id: 'introspector',
        client_secret: 'introspector-secret',
        redirect_uris: [],
        grant_types: [],
        response_types: [],
      },
    ],
    acrValues,
    claims: {
      openid: ['sub'],
      profile: ['name', 'given_name', 'family_name', 'locale'],
      email: ['email'],
    },
    conformIdTokenClaims: !options.claimsInIdToken,
    features: {
      claimsParameter: { enabled: true },
      deviceFlow: { enabled: true },
      devInteractions: { enabled: true },
      introspection: { enabled: true },
      resourceIndicators: { enabled: false },
      revocation: { enabled: true },
      rpInitiatedLogout: { enabled: true },
      userinfo: { enabled: true },
    },
    findAccount: (_, name) => account(name),
    pkce: { methods: ['S256'], required: () => true },
    responseTypes: ['code'],
    rotateRefreshToken: options.rotate,
    ttl: {
      AccessToken: options.accessTokenSeconds,
      AuthorizationCode: 60,
      DeviceCode: options.deviceCodeSeconds,
      Grant: 14 * day + options.refreshTokenSeconds,
      IdToken: 3600,
      Interaction: 3600,
      RefreshToken: options.refreshTokenSeconds,
      Session: 14 * day,
    },
  };
}

// Whoever signs in reaches the authentication context the application asked for.
class ObligingProvider extends Provider {
  async interactionResult(request, response, result, merging) {
    if (result.login) {
      const { params } = await this.interactionDetails(request, response);
      result.login.acr = reachedAcr(params);
    }
    return super.interactionResult(request, response, result, merging);
  }
}

function reachedAcr({ acr_values: voluntary = '', claims = '{}' }) {
  const asked = JSON.parse(claims).id_token?.acr;
  const wanted = [asked?.value, ...(asked?.values ?? []), ...voluntary.split(' ')];
  return wanted.find((acr) => acrValues.includes(acr)) ?? acrValues[0];
}

async function watchTokenEndpoint(ctx, next) {
  let grantType;
  if (failure.times > 0) {
    failure.times -= 1;
    grantType = new URLSearchParams(await text(ctx.req)).get('grant_type');
    ctx.status = failure.status;
    if (failure.retryAfter !== undefined) ctx.set('Retry-After', String(failure.retryAfter));
    ctx.body = { error: failure.error ?? 'temporarily_unavailable' };
  } else {
    await next();
    grantType = ctx.oidc.params?.grant_type;
  }
  counts.token += 1;
  if (grantType === 'refresh_token') counts.refresh += 1;
}

async function watch(ctx, next) {
  if (ctx.method === 'POST' && ctx.path === '/token') return watchTokenEndpoint(ctx, next);
  await next();
  if (ctx.path === '/token/revocation') counts.revocation += 1;
  if (ctx.path === '/device/auth' && ctx.status === 200 && options.deviceIntervalSeconds !== undefined) {
    ctx.body.interval = options.deviceIntervalSeconds;
  }
}

function newProvider(issuer) {
  const provider = new ObligingProvider(issuer, configuration());
  provider.use(watch);
  provider.on('grant.error', (ctx) => {
    if (ctx.oidc.entities.RefreshToken?.consumed) counts.reuseDetected += 1;
  });
  provider.on('server_error', (ctx, error) => console.error(ctx.path, error));
  return provider.callback();
}

async function control(request, response) {
  if (request.method === 'GET' && request.url === '/control/counts') {
    return response.end(JSON.stringify({ ...counts, 'active refresh tokens': activeRefreshTokens() }));
  }
  const { fail, rotateKeys, revokeGrants } = onlyKnown(await json(request), ['fail', 'rotateKeys', 'revokeGrants']);
  if (fail) failure = { status: 503, times: 1, ...fail };
  if (rotateKeys) provide = newProvider(issuer);
  if (revokeGrants) forgetGrants();
  response.writeHead(204).end();
}

console.info = console.error; // the library's notices; stdout is for the one line
const server = createServer((request, response) => {
  if (!request.url.startsWith('/control')) return provide(request, response);
  control(request, response).catch((error) => response.writeHead(400).end(`${error.message}\n`));
});
server.listen(0, '127.0.0.1');
await once(server, 'listening');
const issuer = `http://127.0.0.1:${server.address().port}`;
let provide = newProvider(issuer);

process.on('SIGTERM', () => process.exit(0));
process.stdin.on('end', () => process.exit(0)).on('error', () => process.exit(0)).resume();
console.log(JSON.stringify({ issuer }));
