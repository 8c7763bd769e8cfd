// sbxml: what people use of the library. See docs/sbxml.md.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <new>

#include "console/console.h"
#include "sbxml/commands.h"
#include "sbxml/project_file.h"
#include "sbxml/system.h"

namespace sbx::tool {
namespace {

using console::Colour;

struct CommandLine {
  CheckOptions check;
  InspectOptions inspect;
  ConvertOptions convert;
  DescribeOptions describe;
  LintOptions lint;

  SetOptions set;
  std::string project;
  bool hasNoProject = false;
  Colour colour = Colour::kAuto;
  bool json = false;
  std::uint32_t maxErrors = 0;
  ChildOptions child;
};

void AddSetOptions(CLI::App& command, CommandLine& line, bool takesRoot) {
  command.add_option("-d,--descriptions", line.set.descriptions, "Structure description document")
      ->type_name("FILE");
  command.add_option("-r,--rules", line.set.rules, "Conversion rule document; none: no rules")
      ->type_name("FILE");
  if (takesRoot) {
    command.add_option("--root", line.set.root, "Name of the root record")->type_name("NAME");
  }
  command
      .add_option("--project", line.project,
                  "Project file to take missing options from (default: the nearest sbxml.json upwards)")
      ->type_name("FILE");
  command.add_flag("--no-project", line.hasNoProject, "Look for no project file");
}

void AddMannersOptions(CLI::App& command, CommandLine& line) {
  const std::map<std::string, Colour> colours = {
      {"auto", Colour::kAuto}, {"always", Colour::kAlways}, {"never", Colour::kNever}};
  command.add_option("--color", line.colour, "Colour diagnostics: auto, always or never")
      ->transform(CLI::Transformer(colours).description(""))
      ->type_name("WHEN");
  command.add_option("--max-errors", line.maxErrors, "Show so many diagnostics at most; 0: all")
      ->type_name("N");
}

// Between a check and the children that it starts; not for people, so help doesn't show them.
void AddChildOptions(CLI::App& command, ChildOptions& child) {
  command.add_option("--channel", child.channel)->group("");
  command.add_option("--told", child.told)->group("");
  command.add_option("--input-copy", child.inputCopy)->group("");
}

CLI::App* AddCheck(CLI::App& app, CommandLine& line) {
  CLI::App* const command =
      app.add_subcommand("check", "Tell whether job scripts load, survive, and what is lost on the way");
  command->add_option("files", line.check.files, "Job scripts; - is standard input")
      ->required()
      ->type_name("FILE");
  AddSetOptions(*command, line, true);
  command->add_flag("--json", line.json, "One JSON object a line, on standard output");
  AddMannersOptions(*command, line);
  AddChildOptions(*command, line.child);
  return command;
}

CLI::App* AddInspect(CLI::App& app, CommandLine& line) {
  CLI::App* const command = app.add_subcommand("inspect", "Show the records that a job script becomes");
  command->add_option("file", line.inspect.file, "Job script; - is standard input")
      ->required()
      ->type_name("FILE");
  AddSetOptions(*command, line, true);
  command->add_flag("--json", line.json, "One JSON object a line");
  command->add_flag("--blocks", line.inspect.blocks, "List the blocks of memory instead, with their total");
  command->add_flag("--hex", line.inspect.hex, "Show the bytes of values too");
  AddMannersOptions(*command, line);
  return command;
}

CLI::App* AddConvert(CLI::App& app, CommandLine& line) {
  CLI::App* const command = app.add_subcommand("convert", "Write an XML file in another encoding");
  const std::map<std::string, Encoding> encodings = {{"utf-16", Encoding::kUtf16},
                                                     {"utf-16be", Encoding::kUtf16BigEndian},
                                                     {"utf-8", Encoding::kUtf8},
                                                     {"ansi", Encoding::kAnsi}};
  command->add_option("file", line.convert.file, "XML file; - is standard input")
      ->required()
      ->type_name("FILE");
  command->add_option("-o,--output", line.convert.output, "Where to; - is standard output")
      ->required()
      ->type_name("FILE");
  command->add_option("-e,--encoding", line.convert.encoding, "utf-16, utf-16be, utf-8 (default) or ansi")
      ->transform(CLI::Transformer(encodings).description(""))
      ->type_name("NAME");
  command->add_flag("--pretty", line.convert.pretty, "One element a line, for reading and comparing");
  AddMannersOptions(*command, line);
  return command;
}

CLI::App* AddDescribe(CLI::App& app, CommandLine& line) {
  CLI::App* const command =
      app.add_subcommand("describe", "Show records, items, types as both directions read them, and rules");
  command->add_option("record", line.describe.record, "Name of one record; none: all")->type_name("RECORD");
  AddSetOptions(*command, line, false);
  command->add_flag("--json", line.json, "One JSON object a line");
  AddMannersOptions(*command, line);
  return command;
}

CLI::App* AddLint(CLI::App& app, CommandLine& line) {
  CLI::App* const command =
      app.add_subcommand("lint", "Tell what is wrong with descriptions and rules themselves");
  const std::map<std::string, Severity> severities = {
      {"error", Severity::kError}, {"warning", Severity::kWarning}, {"note", Severity::kNote}};
  AddSetOptions(*command, line, true);
  command->add_option("--level", line.lint.least, "Least severity told: error, warning or note (default)")
      ->transform(CLI::Transformer(severities).description(""))
      ->type_name("SEVERITY");
  command->add_flag("--json", line.json, "One JSON object a line, on standard output");
  AddMannersOptions(*command, line);
  return command;
}

[[noreturn]] void FailUsage(const std::string& message) {
  throw CommandFailure{kExitUsage, {.id = Id::kUsage, .message = message}};
}

// What the command line lacks comes from the project file.
SetOptions CompleteSet(const CommandLine& line, bool needsRoot) {
  SetOptions set = line.set;
  const bool isComplete =
      !set.descriptions.empty() && !set.rules.empty() && (!needsRoot || !set.root.empty());
  if (!line.project.empty()) {
    CompleteFromProjectFile(line.project, set);
  } else if (!line.hasNoProject && !isComplete) {
    if (const auto file = FindProjectFile(std::filesystem::current_path()))
      CompleteFromProjectFile(*file, set);
  }
  if (set.descriptions.empty()) FailUsage("no structure descriptions: give --descriptions or a project file");
  if (needsRoot && set.root.empty()) FailUsage("no root record: give --root or a project file");
  return set;
}

std::vector<std::string> MannersOf(const CommandLine& line) {
  std::vector<std::string> manners = {
      "--max-errors=" + std::to_string(line.maxErrors),
      console::WantsColour(line.colour, console::Stream::kErrors) ? "--color=always" : "--color=never"};
  if (line.json) manners.emplace_back("--json");
  return manners;
}

// "/x" is a path everywhere. Commands take this over from their parent when they are added.
CLI::App& WithDashesAlone(CLI::App& app) {
  app.allow_windows_style_options(false);
  return app;
}

class Program {
 public:
  Program()
      : app_("Job scripts as XML: check, inspect, convert, describe, lint.", "sbxml"),
        check_(AddCheck(WithDashesAlone(app_), line_)),
        inspect_(AddInspect(app_, line_)),
        convert_(AddConvert(app_, line_)),
        describe_(AddDescribe(app_, line_)),
        lint_(AddLint(app_, line_)) {
    app_.set_version_flag("--version", "sbxml " SBXML_VERSION);
    app_.require_subcommand(1);
    app_.footer(
        "Exit codes: 0 fine, 1 findings, 2 usage, 3 file missing or unreadable, 4 not well formed or\n"
        "does not load, 5 bad descriptions or rules, 6 output failed, 70 internal. See sbxml(1).");
  }

  int Run(std::vector<std::string> arguments) {
    try {
      RequireKnownCommand(arguments);
      // Without the program's name, and from the back, as the parser takes them.
      app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend() - 1));
    } catch (const CLI::ParseError& error) {
      // Help and the version come this way too, with 0.
      if (error.get_exit_code() == 0) {
        app_.exit(error, std::cout, std::cerr);
        return EndOfOutput(kExitFine);
      }
      std::cerr << "sbxml: error: " << error.what() << " (see --help) [usage]\n";
      return kExitUsage;
    }
    const bool toOutput = line_.json && (check_->parsed() || lint_->parsed());
    const Form form = line_.json                                                     ? Form::kJson
                      : console::WantsColour(line_.colour, console::Stream::kErrors) ? Form::kColouredText
                                                                                     : Form::kText;
    Diagnostics diagnostics(toOutput ? std::cout : std::cerr, form, line_.maxErrors);
    return EndOfOutput(Guarded(diagnostics));
  }

 private:
  // The parser would only say that a command is missing.
  void RequireKnownCommand(const std::vector<std::string>& arguments) {
    if (arguments.size() < 2 || arguments[1].starts_with('-')) return;
    const auto isIt = [&](const CLI::App* command) { return command->get_name() == arguments[1]; };
    if (!app_.get_subcommands(isIt).empty()) return;
    throw CLI::ExtrasError("there is no command " + arguments[1], CLI::ExitCodes::ExtrasError);
  }

  int Guarded(Diagnostics& diagnostics) {
    try {
      return Dispatch(diagnostics);
    } catch (const CommandFailure& failure) {
      diagnostics.Report(failure.diagnostic);
      return failure.exitCode;
    } catch (const std::bad_alloc&) {
      diagnostics.Report({.id = Id::kInternal, .message = "out of memory"});
    } catch (const std::exception& error) {
      diagnostics.Report({.id = Id::kInternal, .message = error.what()});
    }
    return kExitInternal;
  }

  int Dispatch(Diagnostics& diagnostics) {
    if (check_->parsed()) {
      line_.check.set = CompleteSet(line_, true);
      line_.check.manners = MannersOf(line_);
      if (line_.child.channel != 0) line_.check.child = line_.child;
      return RunCheck(line_.check, diagnostics);
    }
    if (inspect_->parsed()) {
      line_.inspect.set = CompleteSet(line_, true);
      line_.inspect.json = line_.json;
      return RunInspect(line_.inspect, diagnostics);
    }
    if (convert_->parsed()) return RunConvert(line_.convert, diagnostics);
    if (lint_->parsed()) {
      line_.lint.set = CompleteSet(line_, false);
      return RunLint(line_.lint, diagnostics);
    }
    line_.describe.set = CompleteSet(line_, false);
    line_.describe.json = line_.json;
    return RunDescribe(line_.describe, diagnostics);
  }

  static int EndOfOutput(int exitCode) {
    if (std::cout.flush() || exitCode == kExitNoOutput) return exitCode;
    std::cerr << "sbxml: error: standard output can't be written [output-failed]\n";
    return kExitNoOutput;
  }

  CLI::App app_;
  CommandLine line_;
  CLI::App* check_;
  CLI::App* inspect_;
  CLI::App* convert_;
  CLI::App* describe_;
  CLI::App* lint_;
};

}  // namespace
}  // namespace sbx::tool

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> arguments = sbx::tool::console::Begin(argc, argv);
    sbx::tool::system::Begin();
    return sbx::tool::Program().Run(arguments);
  } catch (...) {
    std::fputs("sbxml: error: out of memory or a fault of its own [internal]\n", stderr);
    return sbx::tool::kExitInternal;
  }
}
