#include "demo/ShellCommand.h"

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

namespace demo {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

} // namespace

ShellCommand ShellCommand::run(const std::filesystem::path& program,
                               const std::vector<std::string>& arguments) {
    auto line = quoted(program.string());
    for (const auto& argument : arguments)
        line += ' ' + quoted(argument);
    std::FILE* pipe = ::popen((line + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        throw std::runtime_error("cannot run " + program.string());
    ShellCommand command;
    std::array<char, 4096> buffer;
    while (const auto size = std::fread(buffer.data(), 1, buffer.size(), pipe))
        command.output.append(buffer.data(), size);
    const int status = ::pclose(pipe);
    command.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return command;
}

void Shell::run(std::vector<std::string> arguments, int wantedExitCode, Shown shown) const {
    std::string line = "$ zelkorlogin";
    for (const auto& argument : arguments)
        line += ' ' + argument;
    narrator_.say(line);
    arguments.insert(arguments.end(), {"--socket-dir", socketDirectory_.string()});
    const auto command = ShellCommand::run(program_, arguments);
    std::istringstream output(command.output);
    int lines = 0;
    for (std::string text; std::getline(output, text);) {
        if (shown == Shown::All || lines++ == 0)
            narrator_.say("  " + text);
    }
    narrator_.expect("exit code", std::to_string(command.exitCode), std::to_string(wantedExitCode));
}

} // namespace demo
