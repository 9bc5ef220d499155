// The program hshd-keyring: keeps one text for a state directory in the desktop's Secret Service. A program
// of its own, so that the daemon, which runs for months, needs neither the bus nor its threads.
//
//   hshd-keyring lookup DIRECTORY   prints the text
//   hshd-keyring store DIRECTORY    keeps its standard input
//
// Exit code 0: done. 1: nothing is kept. 2: there is no Secret Service, or it is locked; nobody is asked to
// unlock it.

#include <iostream>
#include <iterator>
#include <libsecret/secret.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/prctl.h>

namespace {

enum Exit { done = 0, nothing = 1, unreachable = 2 };

const SecretSchema schema = {
    "org.hshd.SealingKey",
    SECRET_SCHEMA_NONE,
    {{"state-directory", SECRET_SCHEMA_ATTRIBUTE_STRING}, {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
    0,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr};

int problem(GError* error) {
    std::cerr << "hshd-keyring: " << (error ? error->message : "the keyring is locked") << '\n';
    g_clear_error(&error);
    return unreachable;
}

/// Whether the collection that new items go to is there and open: to store in a locked one would ask the
/// person.
bool isOpen(GError** error) {
    SecretService* service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, error);
    if (!service)
        return false;
    SecretCollection* collection = secret_collection_for_alias_sync(service, SECRET_COLLECTION_DEFAULT,
                                                                    SECRET_COLLECTION_NONE, nullptr, error);
    const bool open = collection && !secret_collection_get_locked(collection);
    g_clear_object(&collection);
    g_object_unref(service);
    return open;
}

int lookup(const char* directory) {
    GError* error = nullptr;
    if (!isOpen(&error))
        return problem(error);
    gchar* text =
        secret_password_lookup_sync(&schema, nullptr, &error, "state-directory", directory, nullptr);
    if (error)
        return problem(error);
    if (!text)
        return nothing;
    std::cout << text << std::flush;
    secret_password_free(text);
    return done;
}

int store(const char* directory) {
    const std::string text(std::istreambuf_iterator<char>(std::cin), {});
    GError* error = nullptr;
    if (!isOpen(&error) ||
        !secret_password_store_sync(&schema, SECRET_COLLECTION_DEFAULT, "Key of the login daemon",
                                    text.c_str(), nullptr, &error, "state-directory", directory, nullptr))
        return problem(error);
    return done;
}

} // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_DUMPABLE, 0);
    const std::string_view command = argc == 3 ? argv[1] : "";
    if (command == "lookup")
        return lookup(argv[2]);
    if (command == "store")
        return store(argv[2]);
    std::cerr << "hshd-keyring lookup|store DIRECTORY; started by hshd\n";
    return unreachable;
}
