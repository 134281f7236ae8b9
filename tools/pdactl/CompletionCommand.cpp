#include "Commands.h"
#include "CompletionTree.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace pdactl {

namespace {

std::string joined(const std::vector<CompletionWord>& words) {
    std::string text;
    for (const CompletionWord& word : words) {
        text += (text.empty() ? "" : " ") + word.text;
    }
    return text;
}

/** Quoted for a shell. */
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char character : text) {
        result += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return result + "'";
}

/** Every option of the program that takes a value, as alternatives of a shell pattern. */
std::string valuePattern(const std::vector<CompletionCommand>& tree) {
    std::set<std::string> names;
    for (const CompletionCommand& command : tree) {
        names.insert(command.optionsWithValue.begin(), command.optionsWithValue.end());
    }
    std::string pattern;
    for (const std::string& name : names) {
        pattern += (pattern.empty() ? "" : "|") + name;
    }
    return pattern;
}

// The words that lead to a command are those that are neither options nor their values.
constexpr const char* BashHead = "_pdactl() {\n"
                                 "    local current=\"${COMP_WORDS[COMP_CWORD]}\" path='' skip='' i\n"
                                 "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                                 "        if [[ -n $skip ]]; then skip=''; continue; fi\n"
                                 "        case \"${COMP_WORDS[i]}\" in\n";
constexpr const char* BashMiddle = "            -*) ;;\n"
                                   "            *) path=\"${path:+$path }${COMP_WORDS[i]}\" ;;\n"
                                   "        esac\n"
                                   "    done\n"
                                   "    COMPREPLY=()\n"
                                   "    [[ -n $skip ]] && return\n"
                                   "    local words='' options=''\n"
                                   "    case \"$path\" in\n";
constexpr const char* BashTail = "    esac\n"
                                 "    [[ $current == -* ]] && words=\"$options\"\n"
                                 "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
                                 "    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace 2> /dev/null\n"
                                 "    return 0\n"
                                 "}\n"
                                 "complete -o default -F _pdactl pdactl\n";

/** Commands that take words of the user's own match whatever these are. */
std::string pathPattern(const CompletionCommand& command) {
    return quoted(command.path) + (command.takesFiles ? "|" + quoted(command.path + " ") + "*" : "");
}

std::string bashScript(const std::vector<CompletionCommand>& tree) {
    std::string text = BashHead;
    text += "            " + valuePattern(tree) + ") skip=1 ;;\n";
    text += BashMiddle;
    for (const CompletionCommand& command : tree) {
        text += "        " + pathPattern(command) + ") words=" + quoted(joined(command.words)) +
                " options=" + quoted(joined(command.options)) + " ;;\n";
    }
    return text + BashTail;
}

constexpr const char* ZshHead = "#compdef pdactl\n"
                                "_pdactl() {\n"
                                "    local current=\"${words[CURRENT]}\" place='' skip='' i\n"
                                "    local -a below options\n"
                                "    for ((i = 2; i < CURRENT; i++)); do\n"
                                "        if [[ -n $skip ]]; then skip=''; continue; fi\n"
                                "        case \"${words[i]}\" in\n";
constexpr const char* ZshMiddle = "            -*) ;;\n"
                                  "            *) place=\"${place:+$place }${words[i]}\" ;;\n"
                                  "        esac\n"
                                  "    done\n"
                                  "    if [[ -n $skip ]]; then _files; return; fi\n"
                                  "    case \"$place\" in\n";
constexpr const char* ZshTail = "    esac\n"
                                "    if [[ $current == -* ]]; then\n"
                                "        _describe option options\n"
                                "    elif (( ${#below} )) && [[ ${below[1]} == *=:* ]]; then\n"
                                "        _describe member below -S ''\n"
                                "    elif (( ${#below} )); then\n"
                                "        _describe command below\n"
                                "    else\n"
                                "        _files\n"
                                "    fi\n"
                                "}\n"
                                "if [[ ${funcstack[1]} == _pdactl ]]; then\n"
                                "    _pdactl \"$@\"\n"
                                "else\n"
                                "    compdef _pdactl pdactl\n"
                                "fi\n";

std::string zshList(const std::vector<CompletionWord>& words) {
    std::string list;
    for (const CompletionWord& word : words) {
        std::string help = word.help;
        std::replace(help.begin(), help.end(), ':', ';');
        list += (list.empty() ? "" : " ") + quoted(word.text + ":" + help);
    }
    return "(" + list + ")";
}

std::string zshScript(const std::vector<CompletionCommand>& tree) {
    std::string text = ZshHead;
    text += "            " + valuePattern(tree) + ") skip=1 ;;\n";
    text += ZshMiddle;
    for (const CompletionCommand& command : tree) {
        text += "        " + pathPattern(command) + ")\n            below=" + zshList(command.words) +
                "\n            options=" + zshList(command.options) + " ;;\n";
    }
    return text + ZshTail;
}

constexpr const char* FishHead = "function __pdactl_place\n"
                                 "    set -l place\n"
                                 "    set -l skip 0\n"
                                 "    for word in (commandline -opc)[2..-1]\n"
                                 "        if test $skip = 1\n"
                                 "            set skip 0\n"
                                 "            continue\n"
                                 "        end\n"
                                 "        switch $word\n";
constexpr const char* FishTail = "                set skip 1\n"
                                 "            case '-*'\n"
                                 "            case '*'\n"
                                 "                set -a place $word\n"
                                 "        end\n"
                                 "    end\n"
                                 "    echo \"$place\"\n"
                                 "end\n"
                                 "function __pdactl_at\n"
                                 "    set -l place (__pdactl_place)\n"
                                 "    test \"$place\" = \"$argv\"\n"
                                 "end\n"
                                 "function __pdactl_in\n"
                                 "    set -l place (__pdactl_place)\n"
                                 "    string match -q -- \"$argv*\" \"$place\"\n"
                                 "end\n";

std::string fishScript(const std::vector<CompletionCommand>& tree) {
    std::string values = valuePattern(tree);
    std::replace(values.begin(), values.end(), '|', ' ');
    std::string text = std::string(FishHead) + "            case " + values + "\n" + FishTail;
    for (const CompletionCommand& command : tree) {
        const std::string test = command.isMember ? "__pdactl_in " : "__pdactl_at ";
        const std::string condition = " -n " + quoted(test + command.path);
        for (const CompletionWord& word : command.words) {
            text +=
                "complete -c pdactl -f" + condition + " -a " + word.text + " -d " + quoted(word.help) + "\n";
        }
        for (const CompletionWord& option : command.options) {
            text += "complete -c pdactl" + condition + " -l " + option.text.substr(2) + " -d " +
                    quoted(option.help) + "\n";
        }
    }
    return text;
}

struct Shell {
    const char* name;
    const char* howTo;
    std::string (*script)(const std::vector<CompletionCommand>& tree);
};

constexpr Shell Shells[] = {
    {"bash", "Example: source <(pdactl completion bash)", bashScript},
    {"zsh", "Example: source <(pdactl completion zsh)", zshScript},
    {"fish", "Example: pdactl completion fish | source", fishScript},
};

} // namespace

void addCompletionCommand(Program& program) {
    for (const Shell& shell : Shells) {
        CLI::App* const command = subcommand(program.app, {"completion", shell.name});
        command->description(std::string("Print the completion for ") + shell.name);
        command->footer(shell.howTo);
        command->callback([&program, &shell] {
            program.action = [&program, &shell] {
                std::cout << shell.script(completionTree(program.app)) << std::flush;
                return static_cast<int>(Success);
            };
        });
    }
}

} // namespace pdactl
