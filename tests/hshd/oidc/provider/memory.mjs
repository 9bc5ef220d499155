// What the provider remembers, as its storage adapter. It outlives the provider object, so that
// a provider with another signing key still knows the sessions and tokens of the one before.

const models = new Map();

export function recordsOf(model) {
  if (!models.has(model)) models.set(model, new Map());
  return models.get(model);
}

export function forgetGrants() {
  for (const model of ['Grant', 'AccessToken', 'RefreshToken']) recordsOf(model).clear();
}

export function activeRefreshTokens() {
  const now = Date.now() / 1000;
  return [...recordsOf('RefreshToken').values()].filter((token) => !token.consumed && token.exp > now).length;
}

export class Memory {
  #records;

  constructor(model) {
    this.#records = recordsOf(model);
  }

  async upsert(id, record) {
    this.#records.set(id, record);
  }

  async find(id) {
    return this.#records.get(id);
  }

  async findByUid(uid) {
    return [...this.#records.values()].find((record) => record.uid === uid);
  }

  async findByUserCode(userCode) {
    return [...this.#records.values()].find((record) => record.userCode === userCode);
  }

  async consume(id) {
    this.#records.get(id).consumed = Math.floor(Date.now() / 1000);
  }

  async destroy(id) {
    this.#records.delete(id);
  }

  async revokeByGrantId(grantId) {
    for (const [id, record] of this.#records) {
      if (record.grantId === grantId) this.#records.delete(id);
    }
  }
}
