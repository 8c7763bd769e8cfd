// sbxlog: watches and steers the log of running processes. See docs/sbxlog.md.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <new>

#include "console/console.h"
#include "sbxlog/commands.h"
#include "sbxlog/exit_codes.h"
#include "sbxlog/system.h"

namespace sbx::tool {
namespace {

using console::Colour;

// Longer times are no times that anyone means, and must not overflow a clock.
constexpr double kLongestSeconds = 1e8;

struct CommandLine {
  CatOptions cat;
  TailOptions tail;
  SettingOptions setting;
  BreakAddOptions breakAdd;
  BreakIdOptions breakId;
  Colour colour = Colour::kAuto;
  bool json = false;
};

// "/x" is a path everywhere. Commands take this over from their parent when they are added.
CLI::App& WithDashesAlone(CLI::App& app) {
  app.allow_windows_style_options(false);
  return app;
}

// What every command takes.
CLI::App* AddCommand(CLI::App& app, CommandLine& line, const char* name, const char* purpose) {
  CLI::App* const command = app.add_subcommand(name, purpose);
  const std::map<std::string, Colour> colours = {
      {"auto", Colour::kAuto}, {"always", Colour::kAlways}, {"never", Colour::kNever}};
  command->add_flag("--json", line.json, "One JSON object a line");
  command->add_option("--color", line.colour, "Colours: auto, always or never")
      ->transform(CLI::Transformer(colours).description(""))
      ->type_name("WHEN");
  return command;
}

void AddFilterOptions(CLI::App& command, FilterOptions& filter) {
  command.add_option("--level", filter.level, "Messages of this level and the more serious ones")
      ->type_name("N");
  command.add_option("--pid", filter.processIds, "Messages of this process; may be repeated")
      ->type_name("PID")
      ->expected(1)
      ->take_all();
  command.add_option("--text", filter.texts, "Messages that hold this; may be repeated")
      ->type_name("TEXT")
      ->expected(1)
      ->take_all();
}

CLI::App* AddTail(CLI::App& app, CommandLine& line) {
  CLI::App* const command = AddCommand(app, line, "tail", "Show the messages of running processes");
  command->add_option("names", line.tail.names, "Executables' file names; none: all that log")
      ->type_name("NAME");
  AddFilterOptions(*command, line.tail.filter);
  command->add_option("--until", line.tail.until, "End with the first shown message that holds this")
      ->type_name("TEXT");
  command->add_option("--timeout", line.tail.timeout, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, kLongestSeconds).description(""));
  return command;
}

CLI::App* AddSetting(CLI::App& app, CommandLine& line, const char* name, const char* purpose) {
  CLI::App* const command = AddCommand(app, line, name, purpose);
  command->add_option("pid", line.setting.processId, "Process")->required()->type_name("PID");
  command
      ->add_option("words", line.setting.words,
                   "Module, none: all that are not fixed; then the new value, which is fixed for a module")
      ->expected(0, 2)
      ->type_name("[MODULE] VALUE");
  command->add_flag("--clear", line.setting.isClearing, "No value of its own, instead of a new one");
  return command;
}

// The commands below `break`.
struct BreakCommands {
  CLI::App* add;
  CLI::App* list;
  CLI::App* hits;
  CLI::App* release;
  CLI::App* remove;
};

CLI::App* AddBreakAdd(CLI::App& app, CommandLine& line) {
  CLI::App* const command =
      AddCommand(app, line, "add", "Hold threads that log a text; stays in the foreground");
  BreakAddOptions& options = line.breakAdd;
  command->add_option("--process", options.process, "Executable's file name")->required()->type_name("NAME");
  command->add_option("--text", options.text, "Held are messages with this in them")
      ->required()
      ->type_name("TEXT");
  command->add_option("--pid", options.processId, "This process only")->type_name("PID");
  command->add_option("--tid", options.threadId, "This thread only")->type_name("TID");
  command->add_option("--hold", options.hold, "Release each after so many seconds (default: 30)")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, kLongestSeconds).description(""));
  command->add_option("--timeout", options.timeout, "End after so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, kLongestSeconds).description(""));
  return command;
}

CLI::App* AddBreakId(CLI::App& app, CommandLine& line, const char* name, const char* purpose,
                     const char* type) {
  CLI::App* const command = AddCommand(app, line, name, purpose);
  auto* const id =
      command->add_option("id", line.breakId.id, "Id, or its front as far as it is the only one");
  id->type_name(type);
  command->add_flag("--all", line.breakId.isAll, "All of them")->excludes(id);
  return command;
}

BreakCommands AddBreak(CLI::App& app, CommandLine& line) {
  CLI::App* const group = app.add_subcommand("break", "Hold threads at the moment they log a text");
  group->require_subcommand(1);
  return {.add = AddBreakAdd(*group, line),
          .list = AddCommand(*group, line, "list", "List the breakpoints"),
          .hits = AddCommand(*group, line, "hits", "List the held threads"),
          .release = AddBreakId(*group, line, "release", "Let held threads go on", "HIT"),
          .remove = AddBreakId(*group, line, "remove", "Remove breakpoints and let their threads go on",
                               "BREAKPOINT")};
}

CLI::App* AddCat(CLI::App& app, CommandLine& line) {
  CLI::App* const command =
      AddCommand(app, line, "cat", "Print a log file and its numbered siblings as UTF-8, in order");
  command->add_option("file", line.cat.file, "Log file")->required()->type_name("FILE");
  AddFilterOptions(*command, line.cat.filter);
  command->add_option("--from", line.cat.from, "Lines of this time and after")->type_name("TIME");
  command->add_option("--to", line.cat.to, "Lines of this time and before")->type_name("TIME");
  command->add_flag("--alone", line.cat.isAlone, "This file without its siblings");
  return command;
}

class Program {
 public:
  Program()
      : app_("Watch and steer the log of running processes.", "sbxlog"),
        ps_(AddCommand(WithDashesAlone(app_), line_, "ps",
                       "List the processes that log, with their levels and paths")),
        tail_(AddTail(app_, line_)),
        level_(AddSetting(app_, line_, "level", "Change the level of a running process")),
        path_(AddSetting(app_, line_, "path", "Change the log file of a running process")),
        break_(AddBreak(app_, line_)),
        cat_(AddCat(app_, line_)) {
    app_.set_version_flag("--version", "sbxlog " SBXML_VERSION);
    app_.require_subcommand(1);
    app_.footer(
        "Exit codes: 0 fine, 1 findings, 2 usage, 3 not found, 4 damaged block, 5 refused by the system,\n"
        "6 output failed, 7 taken, 8 no `break add` runs, 70 internal. See sbxlog(1).");
  }

  int Run(const std::vector<std::string>& arguments) {
    try {
      // Without the program's name, and from the back, as the parser takes them.
      app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend() - 1));
    } catch (const CLI::ParseError& error) {
      // Help and the version come this way too, with 0.
      return app_.exit(error, std::cout, std::cerr) == 0 ? EndOfOutput(kExitFine) : kExitUsage;
    }
    Diagnostics diagnostics(line_.json ? Form::kJson
                            : console::WantsColour(line_.colour, console::Stream::kErrors)
                                ? Form::kColouredText
                                : Form::kText);
    return EndOfOutput(Guarded(diagnostics));
  }

 private:
  int Guarded(Diagnostics& diagnostics) {
    try {
      return Dispatch(diagnostics);
    } catch (const CommandFailure& failure) {
      if (failure.exitCode != kExitNoOutput)
        diagnostics.Report(failure.diagnostic);  // else EndOfOutput tells
      return failure.exitCode;
    } catch (const std::bad_alloc&) {
      diagnostics.Report({.id = Id::kInternal, .message = "out of memory"});
    } catch (const std::exception& error) {
      diagnostics.Report({.id = Id::kInternal, .message = error.what()});
    }
    return kExitInternal;
  }

  int Dispatch(Diagnostics& diagnostics) {
    const OutputForm form = {.json = line_.json,
                             .colour = console::WantsColour(line_.colour, console::Stream::kOutput),
                             .toTerminal = console::IsTerminal(console::Stream::kOutput)};
    if (ps_->parsed()) return RunPs(form, diagnostics);
    if (tail_->parsed()) return RunTail(line_.tail, form, diagnostics);
    if (level_->parsed()) return RunLevel(line_.setting, form);
    if (path_->parsed()) return RunPath(line_.setting, form);
    if (break_.add->parsed()) return RunBreakAdd(line_.breakAdd, form);
    if (break_.list->parsed()) return RunBreakList(form);
    if (break_.hits->parsed()) return RunBreakHits(form);
    if (break_.release->parsed()) return RunBreakRelease(RequireId(), form);
    if (break_.remove->parsed()) return RunBreakRemove(RequireId(), form);
    return RunCat(line_.cat, form, diagnostics);
  }

  const BreakIdOptions& RequireId() const {
    if (!line_.breakId.isAll && line_.breakId.id.empty()) {
      throw CommandFailure{kExitUsage, {.id = Id::kUsage, .message = "give an id or --all"}};
    }
    return line_.breakId;
  }

  static int EndOfOutput(int exitCode) {
    if (std::cout.flush()) return exitCode;
    std::cerr << "sbxlog: error: standard output can't be written [output-failed]\n";
    return kExitNoOutput;
  }

  CLI::App app_;
  CommandLine line_;
  CLI::App* ps_;
  CLI::App* tail_;
  CLI::App* level_;
  CLI::App* path_;
  BreakCommands break_;
  CLI::App* cat_;
};

}  // namespace
}  // namespace sbx::tool

int main(int argc, char** argv) {
  try {
    return sbx::tool::Program().Run(sbx::tool::console::Begin(argc, argv));
  } catch (...) {
    std::fputs("sbxlog: error: out of memory or a fault of its own [internal]\n", stderr);
    return sbx::tool::kExitInternal;
  }
}
