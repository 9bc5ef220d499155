// An application's process that does nothing: framework, connector, client, one call made, and so many
// registrations. Writes a byte when it is that far, and one whenever they have been made with a new daemon.

#include "bench/support/ClientHost.h"
#include "bench/support/Registrations.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: idle_host SOCKET_DIRECTORY REGISTRATIONS\n";
        return 2;
    }
    try {
        zelkor::bench::ClientHost host;
        host.connect(argv[1]);
        const auto client = host.makeClient();
        if (client->getRelease().empty())
            throw std::runtime_error("the daemon did not answer");
        const auto tell = [] { std::cout << '\n' << std::flush; };
        if (const int wanted = std::stoi(argv[2]); wanted > 0)
            zelkor::bench::registerWith(*client, wanted, tell);
        tell();
        ::pause(); // until it is killed
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "idle_host: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
