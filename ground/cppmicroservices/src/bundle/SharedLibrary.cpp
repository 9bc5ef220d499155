#include "SharedLibrary.h"

#include <dlfcn.h>
#include <stdexcept>

namespace cppmicroservices::detail {

SharedLibrary::SharedLibrary(const std::string& path)
    : handle_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
    if (!handle_) {
        const char* reason = ::dlerror();
        throw std::runtime_error(reason ? reason : "the loader gave no reason");
    }
}

void* SharedLibrary::Symbol(const std::string& name) const {
    return handle_ ? ::dlsym(handle_, name.c_str()) : nullptr;
}

} // namespace cppmicroservices::detail
