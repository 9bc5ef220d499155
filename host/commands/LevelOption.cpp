#include "host/commands/LevelOption.h"

#include "host/commands/PrintableText.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace zelkor::host {

void LevelOption::addTo(CLI::App& app) {
    using Level = login::LoginInfo::Level;
    std::map<std::string, Level> names;
    for (const auto level : {Level::Identified, Level::SignedIn, Level::Confirmed})
        names.emplace(levelName(level), level);
    app.add_option("--level", level_,
                   "Least level: identified (1), signed-in (2, the default), confirmed (3)")
        ->type_name("LEVEL")
        ->transform(CLI::CheckedTransformer(names, CLI::ignore_case).description(""));
}

} // namespace zelkor::host
