#include "hshd/state/StateStore.h"

#include "contract/records/NotifierUuid.h"
#include "hshd/Log.h"
#include "hshd/state/sqlite/Statement.h"
#include "hshd/state/sqlite/Transaction.h"

#include <sqlite3.h>

#include <chrono>
#include <ctime>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace hshd {
namespace {

namespace fs = std::filesystem;
using sqlite::Database;
using sqlite::Statement;
using sqlite::Transaction;

constexpr std::int64_t applicationId = 0x68736864; // "hshd", in the file's header
constexpr std::int64_t schemaVersion = 2;

// Strings are blobs, UTF-16 ones in the machine's byte order, so that every code unit comes back.
constexpr const char* schema = R"(
    CREATE TABLE setting(
        name TEXT PRIMARY KEY,
        value BLOB NOT NULL) STRICT, WITHOUT ROWID;
    CREATE TABLE identity(
        role TEXT PRIMARY KEY CHECK(role IN ('signed in', 'remembered')),
        user_id BLOB NOT NULL, display_name BLOB NOT NULL,
        given_name BLOB NOT NULL, family_name BLOB NOT NULL,
        locale BLOB NOT NULL, email BLOB NOT NULL,
        level INTEGER NOT NULL, account_type INTEGER NOT NULL) STRICT;
    CREATE TABLE sign_in(
        role TEXT PRIMARY KEY CHECK(role = 'signed in') REFERENCES identity(role),
        session_id BLOB NOT NULL, token BLOB NOT NULL,
        provider BLOB NOT NULL DEFAULT x'', refresh_token BLOB NOT NULL DEFAULT x'',
        id_token BLOB NOT NULL DEFAULT x'', begins INTEGER NOT NULL DEFAULT 0,
        ends INTEGER NOT NULL DEFAULT 0) STRICT;
    CREATE TABLE login_data(
        role TEXT PRIMARY KEY CHECK(role = 'remembered') REFERENCES identity(role),
        refresh_token BLOB NOT NULL, device_id BLOB NOT NULL, account_hint BLOB NOT NULL,
        endpoint BLOB NOT NULL, source_id BLOB NOT NULL, remember_me INTEGER NOT NULL) STRICT;
    CREATE TABLE revocation(
        provider BLOB NOT NULL, token BLOB NOT NULL, refresh_token INTEGER NOT NULL) STRICT;
    PRAGMA application_id = 1752393828;
    PRAGMA user_version = 2;
)";
static_assert(applicationId == 1752393828 && schemaVersion == 2);

/// What version 1, which kept tokens as they are, had not.
constexpr const char* fromVersion1 = R"(
    ALTER TABLE sign_in ADD COLUMN provider BLOB NOT NULL DEFAULT x'';
    ALTER TABLE sign_in ADD COLUMN refresh_token BLOB NOT NULL DEFAULT x'';
    ALTER TABLE sign_in ADD COLUMN id_token BLOB NOT NULL DEFAULT x'';
    ALTER TABLE sign_in ADD COLUMN begins INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE sign_in ADD COLUMN ends INTEGER NOT NULL DEFAULT 0;
    CREATE TABLE revocation(
        provider BLOB NOT NULL, token BLOB NOT NULL, refresh_token INTEGER NOT NULL) STRICT;
    PRAGMA user_version = 2;
)";

/// A time on the disk is the wall clock's, in milliseconds: it outlives a restart of the machine.
std::int64_t wallTime(BootClock::time_point time) {
    const auto now =
        std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
    return (now.time_since_epoch() + (time - BootClock::now())).count();
}
BootClock::time_point bootTime(std::int64_t time) {
    return BootClock::now() +
           (std::chrono::milliseconds(time) - (std::chrono::milliseconds(wallTime(BootClock::now()))));
}

/// Opens what is sealed; version 1 sealed nothing.
struct Opener {
    const Vault* vault;
    std::string operator()(const std::string& stored, std::string_view purpose) const {
        return vault ? std::string(vault->open(stored, purpose).view()) : stored;
    }
};

std::int64_t pragma(Database& database, std::string_view sql) {
    Statement statement(database, sql);
    return statement.step() ? statement.integer(0) : 0;
}

void checkIntegrity(Database& database) {
    Statement check(database, "PRAGMA integrity_check(1)");
    if (!check.step() || check.text(0) != "ok")
        throw sqlite::Error("the integrity check found: " + check.text(0), SQLITE_CORRUPT);
    if (Statement(database, "PRAGMA foreign_key_check").step())
        throw sqlite::Error("a record has lost its identity", SQLITE_CORRUPT);
}

void saveIdentity(Database& database, std::string_view role, const login::LoginInfo& info) {
    Statement(database, "INSERT INTO identity VALUES(CAST(? AS TEXT),?,?,?,?,?,?,?,?)")
        .bind(role)
        .bind(info.userId)
        .bind(info.displayName)
        .bind(info.givenName)
        .bind(info.familyName)
        .bind(info.locale)
        .bind(info.email)
        .bind(static_cast<std::int64_t>(info.level))
        .bind(info.accountType)
        .run();
}

/// The identity whose columns begin at `column`.
login::LoginInfo readIdentity(const Statement& row, int column) {
    login::LoginInfo info;
    info.userId = row.text16(column++);
    info.displayName = row.text16(column++);
    info.givenName = row.text16(column++);
    info.familyName = row.text16(column++);
    info.locale = row.text(column++);
    info.email = row.text16(column++);
    info.level = static_cast<login::LoginInfo::Level>(row.integer(column++));
    info.accountType = static_cast<std::int32_t>(row.integer(column));
    return info;
}

#define IDENTITY_COLUMNS "user_id, display_name, given_name, family_name, locale, email, level, account_type"

std::optional<SignedIn> loadSignedIn(Database& database, const Opener& open) {
    Statement row(database, "SELECT session_id, token, provider, refresh_token, id_token, begins, "
                            "ends, " IDENTITY_COLUMNS " FROM sign_in JOIN identity USING(role)");
    if (!row.step())
        return std::nullopt;
    SignedIn signedIn{readIdentity(row, 7), login::AccessToken(open(row.text(1), "access token")),
                      row.text(0), std::nullopt};
    if (auto provider = row.text(2); !provider.empty()) {
        const auto begins = row.integer(5);
        const auto ends = row.integer(6);
        // A wall clock that was set back must not make it last longer than it was made for.
        signedIn.grant =
            Grant{std::move(provider), Secret(open(row.text(3), "refresh token")),
                  Secret(open(row.text(4), "id token")), bootTime(begins),
                  std::min(bootTime(ends), BootClock::now() + std::chrono::milliseconds(ends - begins))};
    }
    return signedIn;
}

std::vector<Revocation> loadRevocations(Database& database, const Opener& open) {
    std::vector<Revocation> revocations;
    Statement row(database, "SELECT provider, token, refresh_token FROM revocation ORDER BY rowid");
    while (row.step())
        revocations.push_back({row.text(0), Secret(open(row.text(1), "revocation")), row.integer(2) != 0});
    return revocations;
}

std::optional<login::detail::LoginData> loadRemembered(Database& database, const Opener& open) {
    Statement row(
        database,
        "SELECT refresh_token, device_id, account_hint, endpoint, source_id, remember_me, " IDENTITY_COLUMNS
        " FROM login_data JOIN identity USING(role)");
    if (!row.step())
        return std::nullopt;
    login::detail::LoginData data;
    data.refreshToken = open(row.text(0), "remembered");
    data.deviceId = row.text(1);
    data.accountHint = row.text(2);
    data.endpoint = row.text(3);
    data.sourceId = row.text(4);
    data.rememberMe = row.integer(5) != 0;
    data.info = readIdentity(row, 6);
    return data;
}

#undef IDENTITY_COLUMNS

void saveSetting(Database& database, std::string_view name, std::string_view value) {
    Statement(database, "INSERT INTO setting VALUES(CAST(? AS TEXT),?)").bind(name).bind(value).run();
}

std::string loadSetting(Database& database, std::string_view name) {
    Statement row(database, "SELECT value FROM setting WHERE name = CAST(? AS TEXT)");
    return row.bind(name).step() ? row.text(0) : std::string();
}

PersistentState loadState(Database& database, const Opener& open) {
    PersistentState state;
    state.sourceId = loadSetting(database, "source id");
    if (state.sourceId.empty())
        throw sqlite::Error("the source id is missing", SQLITE_CORRUPT);
    state.endpoint = loadSetting(database, "endpoint");
    state.signInVetoed = loadSetting(database, "sign-in vetoed") == "yes";
    state.signedIn = loadSignedIn(database, open);
    state.remembered = loadRemembered(database, open);
    state.revocations = loadRevocations(database, open);
    return state;
}

void saveSignedIn(Database& database, const SignedIn& signedIn, const Vault& vault) {
    saveIdentity(database, "signed in", signedIn.info);
    const Grant grant = signedIn.grant.value_or(Grant{});
    Statement(database, "INSERT INTO sign_in VALUES('signed in',?,?,?,?,?,?,?)")
        .bind(signedIn.sessionId)
        .bind(vault.seal(signedIn.token.getTokenString(), "access token"))
        .bind(grant.provider)
        .bind(vault.seal(grant.refreshToken.view(), "refresh token"))
        .bind(vault.seal(grant.idToken.view(), "id token"))
        .bind(signedIn.grant ? wallTime(grant.begins) : 0)
        .bind(signedIn.grant ? wallTime(grant.ends) : 0)
        .run();
}

void writeState(Database& database, const PersistentState& state, const Vault& vault, KeyPlace place) {
    database.execute("DELETE FROM sign_in; DELETE FROM login_data; DELETE FROM identity; DELETE FROM setting;"
                     "DELETE FROM revocation");
    saveSetting(database, "key", vault.keyId());
    saveSetting(database, "key's place", toText(place));
    saveSetting(database, "source id", state.sourceId);
    saveSetting(database, "endpoint", state.endpoint);
    saveSetting(database, "sign-in vetoed", state.signInVetoed ? "yes" : "no");
    if (state.signedIn)
        saveSignedIn(database, *state.signedIn, vault);
    for (const auto& revocation : state.revocations)
        Statement(database, "INSERT INTO revocation VALUES(?,?,?)")
            .bind(revocation.provider)
            .bind(vault.seal(revocation.token.view(), "revocation"))
            .bind(revocation.refreshToken)
            .run();
    if (const auto& data = state.remembered) {
        saveIdentity(database, "remembered", data->info);
        Statement(database, "INSERT INTO login_data VALUES('remembered',?,?,?,?,?,?)")
            .bind(vault.seal(data->refreshToken, "remembered"))
            .bind(data->deviceId)
            .bind(data->accountHint)
            .bind(data->endpoint)
            .bind(data->sourceId)
            .bind(data->rememberMe)
            .run();
    }
}

/// Whether the file is this program's and of a version that it reads; a new file is neither.
bool recognise(Database& database, const fs::path& file) {
    const std::int64_t application = pragma(database, "PRAGMA application_id");
    const std::int64_t version = pragma(database, "PRAGMA user_version");
    if (application == 0 && version == 0 && pragma(database, "SELECT count(*) FROM sqlite_schema") == 0)
        return false;
    if (application != applicationId)
        throw std::runtime_error("'" + file.string() +
                                 "' is a database of another program; choose another --state-dir");
    if (version == 1) {
        Transaction transaction(database);
        database.execute(fromVersion1);
        transaction.commit();
    } else if (version != schemaVersion)
        throw std::runtime_error("'" + file.string() + "' has schema version " + std::to_string(version) +
                                 ", this hshd knows version " + std::to_string(schemaVersion) +
                                 "; run the hshd that wrote it or choose another --state-dir");
    return true;
}

std::string timeStamp() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc)};
}

} // namespace

StateStore::StateStore(const fs::path& directory, KeyPlace place, const fs::path& keyring)
    : directory_(directory), file_(directory_.path() / fileName) {
    try {
        open(place, keyring);
    } catch (const sqlite::Error& error) {
        if (!error.damaged())
            throw std::runtime_error("cannot use the state file '" + file_.string() + "': " + error.what());
        keepAside(error.what());
        open(place, keyring);
    }
}

void StateStore::open(KeyPlace place, const fs::path& keyring) {
    database_ = std::make_unique<Database>(directory_.privateFile(fileName));
    // A reader, say a person with the sqlite3 tool, may hold up a save for this long before it fails.
    sqlite3_busy_timeout(database_->handle(), 2000);
    database_->execute("PRAGMA secure_delete = ON; PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF;"
                       "PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA");
    const bool exists = recognise(*database_, file_);
    checkIntegrity(*database_);

    const KeyStore keys(directory_, keyring);
    const auto formerPlace = exists ? keyPlace(loadSetting(*database_, "key's place")) : KeyPlace::Automatic;
    if (place == KeyPlace::Automatic)
        place = formerPlace == KeyPlace::Automatic ? keys.best() : formerPlace;
    keyPlace_ = place;
    vault_.emplace(keys.findOrMake(place));
    if (!exists)
        create();
    else if (loadSetting(*database_, "key") == vault_->keyId())
        load(); // finds what the integrity check does not: a value of the wrong shape
    else
        sealAnew(keys, formerPlace);
}

void StateStore::create() {
    Transaction transaction(*database_);
    database_->execute(schema);
    PersistentState fresh;
    fresh.sourceId = login::detail::uuidText(login::detail::createUuid());
    writeState(*database_, fresh, *vault_, keyPlace_);
    transaction.commit();
}

void StateStore::sealAnew(const KeyStore& keys, KeyPlace formerPlace) {
    const auto id = loadSetting(*database_, "key");
    if (id.empty()) { // version 1's
        save(loadState(*database_, {nullptr}));
        return;
    }
    try {
        if (auto key = keys.find(formerPlace)) {
            const Vault former(std::move(*key));
            if (former.keyId() == id) {
                save(loadState(*database_, {&former}));
                return;
            }
        }
    } catch (const sqlite::Error&) {
        throw;
    } catch (const std::runtime_error&) {
        // Not there, not to be reached, or damaged: the key is lost.
    }
    forgetSecrets();
}

void StateStore::forgetSecrets() const {
    database_->execute(
        "DELETE FROM sign_in; DELETE FROM login_data; DELETE FROM identity; DELETE FROM revocation");
    logger().log(Severity::severe, "The key that the tokens in '" + file_.string() +
                                       "' were sealed with is lost, or they were changed. They are deleted; "
                                       "the daemon starts signed out.");
}

void StateStore::keepAside(const char* reason) {
    database_.reset();
    const std::string first = file_.string() + ".damaged-" + timeStamp();
    fs::path aside = first;
    for (int i = 2; fs::exists(aside); ++i)
        aside = first + "." + std::to_string(i);
    fs::rename(file_, aside);
    std::error_code none; // without a journal there is nothing to keep
    fs::rename(file_.string() + "-journal", aside.string() + "-journal", none);
    logger().log(Severity::severe, "The state file is damaged (" + std::string(reason) +
                                       "). It is kept as '" + aside.string() +
                                       "'; the daemon starts signed out with a new state.");
}

PersistentState StateStore::load() const {
    try {
        return loadState(*database_, {&*vault_});
    } catch (const Vault::Unsealable&) {
        forgetSecrets();
        return loadState(*database_, {&*vault_});
    }
}

void StateStore::save(const PersistentState& state) {
    Transaction transaction(*database_);
    writeState(*database_, state, *vault_, keyPlace_);
    transaction.commit();
}

} // namespace hshd
