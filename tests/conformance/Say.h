#pragma once

#include <exception>
#include <iostream>
#include <string>

/// The programs print what happens, a line each; texts of errors are each framework's own, their kinds are
/// not.
template <class... Parts>
void Say(const Parts&... parts) {
    (std::cout << ... << parts) << '\n';
}

template <class Action>
void Try(const std::string& what, Action action) {
    try {
        action();
        Say(what, ": done");
    } catch (const std::invalid_argument&) {
        Say(what, ": invalid_argument");
    } catch (const std::logic_error&) {
        Say(what, ": logic_error");
    } catch (const std::runtime_error&) {
        Say(what, ": runtime_error");
    } catch (const std::exception&) {
        Say(what, ": exception");
    }
}
