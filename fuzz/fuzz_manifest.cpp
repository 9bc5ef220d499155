// A bundle's manifest: anything is either read or refused.

#include "bundle/Manifest.h"
#include "components/ComponentDescription.h"

#include <cstdint>
#include <stdexcept>

using namespace cppmicroservices::detail;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        ReadComponents(ParseManifest({"com_halvorin_zelkorloginclient", text}), [](const auto&) {});
    } catch (const std::runtime_error&) {
    }
    return 0;
}
