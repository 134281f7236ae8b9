#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace pdactl {

/** A word that can follow, and what it means. */
struct CompletionWord {
    std::string text;
    std::string help; ///< one line
};

/** A command as completion sees it. */
struct CompletionCommand {
    std::string path; ///< the words that lead to it, "handover dot send"; empty for the program itself
    std::vector<CompletionWord> words;
    std::vector<CompletionWord> options;
    std::vector<std::string> optionsWithValue;
    bool takesFiles = false; ///< as further words
    bool isMember = false;   ///< the words are beginnings of "key=value", any number of them
};

/** All commands below an app, the app itself first. */
std::vector<CompletionCommand> completionTree(const CLI::App& app);

} // namespace pdactl
