// An application's process that does nothing: framework, connector, client, one call made. Writes a byte when
// it is that far; ./memory.cpp looks at it then.

#include "bench/support/ClientHost.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: idle_host SOCKET_DIRECTORY\n";
        return 2;
    }
    try {
        zelkor::bench::ClientHost host;
        host.connect(argv[1]);
        const auto client = host.makeClient();
        if (client->getRelease().empty())
            throw std::runtime_error("the daemon did not answer");
        std::cout << '\n' << std::flush;
        ::pause(); // until it is killed
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "idle_host: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
