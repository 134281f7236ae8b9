#pragma once

#include "Request.h"
#include "Settings.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>

namespace pdactl {

/** What all commands share. */
struct Program : Settings {
    explicit Program(CLI::App& app) : app(app) {}

    CLI::App& app;
    /** What the command line asked for; returns the exit code. */
    std::function<int()> action;
};

/** Each adds its commands to the program; the one that is chosen sets the program's action. */
void addCallCommand(Program& program);
void addTaskCommands(Program& program);
void addLockCommands(Program& program);
void addFileCommands(Program& program);
void addListenCommands(Program& program);
void addDoctorCommand(Program& program);
void addLogCommand(Program& program);
void addCompletionCommand(Program& program);

/** Tells what the commands that hold others are about, once all are there. */
void describeGroups(Program& program);

/** The command of these words, added as far as it is not there yet. */
CLI::App* subcommand(CLI::App& app, const std::vector<const char*>& words);

/** An option for each parameter; what is given is left in `given` when the command line has been parsed. */
void addParameters(CLI::App& command, const std::vector<Parameter>& parameters,
                   const std::shared_ptr<Values>& given);

/** The option of commands that send a message. */
void addDryRun(CLI::App& command, Program& program);

/** Behind the help: the command's words, and these options. */
void addExample(CLI::App& command, const std::vector<const char*>& words, const std::string& options);

} // namespace pdactl
