// Read by the thread sanitizer at start; without it nobody calls this.
extern "C" const char* __tsan_default_suppressions() {
    // libstdc++.so counts the references of an exception with atomics that the sanitizer does not see, so the
    // last reference seems to race with earlier readers of the exception.
    return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
