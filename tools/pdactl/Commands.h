#pragma once

#include "Request.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>

namespace pdactl {

/// What all commands share.
struct Program : Settings {
    explicit Program(CLI::App& app) : app(app) {}

    CLI::App& app;
    /// What the command line asked for; returns the exit code.
    std::function<int()> action;
};

/// Each adds its commands to the program.
void addCallCommand(Program& program);
/// One for each row of the table that has words for it.
void addVerbCommands(Program& program);
void addFileCommands(Program& program);
void addListenCommands(Program& program);
void addServeCommand(Program& program);
void addDoctorCommand(Program& program);
void addUdevRuleCommand(Program& program);
void addLogCommand(Program& program);
void addSchemaCommand(Program& program);

/// Of what the doctor prints with --json.
QJsonObject findingsSchema();

/// Tells what the commands that hold others are about, once all of them have been added.
void describeGroups(Program& program);

/// Prints what can follow these words in place of the last of them, each with what it means.
void printCompletions(const CLI::App& root, const std::vector<std::string>& words);

/// The command of these words, added with its help, which ends with these options of an example.
CLI::App& addCommand(Program& program, const std::vector<const char*>& words, const char* help,
                     const std::string& example);

/// At the end of the help: the command's words, and these options.
void addExample(CLI::App& command, const std::vector<const char*>& words, const std::string& options);

/// The option of commands that send a message.
void addDryRun(CLI::App& command, Program& program);

/// What the program does when this command is chosen.
void setAction(CLI::App& command, Program& program, const std::function<int()>& action);

} // namespace pdactl
