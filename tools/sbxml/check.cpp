// sbxml check: does a job script load, and does it survive?
//
// A failed conversion uses up one of the library's handles for the rest of the process, so files are worked
// through by children, a few dozen each.
#include <algorithm>
#include <exception>
#include <iostream>

#include "sbxml/commands.h"
#include "sbxml/comparison.h"
#include "sbxml/conversion.h"
#include "sbxml/loss_finder.h"
#include "sbxml/reader_walk.h"
#include "sbxml/system.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

constexpr std::size_t kFilesAChild = 50;

// What the reader or the writer of the library refused.
Diagnostic Refusal(Id id, const LibraryAnswer& answer, const Place& place) {
  Diagnostic diagnostic;
  diagnostic.id = id;
  diagnostic.place = place;
  diagnostic.function = answer.function;
  diagnostic.code = answer.code;
  diagnostic.libraryText = answer.errorText;
  return diagnostic;
}

class FileCheck {
 public:
  FileCheck(const DocumentSet& set, const std::string& file, Diagnostics& diagnostics)
      : set_(set),
        diagnostics_(diagnostics),
        source_(ReadSource(file)),
        tree_(ParseSource(source_)),
        losses_(source_, tree_),
        findings_(source_.findings) {}

  int Run() {
    const RebuiltGraph graph(set_, source_.text);
    ReaderWalk walk(set_, tree_, losses_);
    const std::optional<WalkFailure> failure = walk.Run(source_.text, nullptr);
    Append(losses_.TakeFindings());
    int exitCode = kExitFine;
    if (!graph.answer().ok()) {
      exitCode = kExitBadInput;
      TellRefused(graph.answer(), failure);
    } else if (failure) {
      findings_.push_back({.id = Id::kAnalysisEnded,
                           .place = At(failure->element),
                           .message = failure->message,
                           .path = ShownPath(failure->path)});
    }
    if (graph.answer().ok()) exitCode = CompareBack(graph, !failure);
    return Report(exitCode);
  }

 private:
  Place At(std::size_t element) const { return source_.At(tree_.nodes()[element].position); }

  void Append(std::vector<Diagnostic> more) {
    for (Diagnostic& finding : more) findings_.push_back(std::move(finding));
  }

  void TellRefused(const LibraryAnswer& answer, const std::optional<WalkFailure>& failure) {
    Diagnostic refusal =
        Refusal(Id::kDoesNotLoad, answer, At(failure ? failure->element : tree_.elements().front()));
    refusal.message = failure ? failure->message : "the library refuses the document";
    if (failure) refusal.path = ShownPath(failure->path);
    findings_.push_back(std::move(refusal));
  }

  int CompareBack(const RebuiltGraph& graph, bool hasNotes) {
    WideString returned;
    const LibraryAnswer answer = WriteGraph(set_, graph, returned);
    if (!answer.ok()) {
      Diagnostic refusal = Refusal(Id::kDoesNotSurvive, answer, At(tree_.elements().front()));
      refusal.message = "loads, but can't be written again";
      findings_.push_back(std::move(refusal));
      return kExitFindings;
    }
    const SourceTree after(returned, {});
    if (after.failure()) {
      findings_.push_back({.id = Id::kDoesNotSurvive,
                           .place = At(tree_.elements().front()),
                           .message = "what comes back is not well formed: " + after.failure()->message});
    } else if (hasNotes) {
      Append(CompareWithReturned(source_, tree_, losses_.notes(), after));
    }
    return kExitFine;
  }

  int Report(int exitCode) {
    std::stable_sort(findings_.begin(), findings_.end(), [](const Diagnostic& a, const Diagnostic& b) {
      return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column);
    });
    for (const Diagnostic& finding : findings_) diagnostics_.Report(finding);
    return findings_.empty() ? exitCode : Worse(exitCode, kExitFindings);
  }

  const DocumentSet& set_;
  Diagnostics& diagnostics_;
  SourceFile source_;
  SourceTree tree_;
  LossFinder losses_;
  std::vector<Diagnostic> findings_;
};

int CheckFile(const DocumentSet& set, const std::string& file, Diagnostics& diagnostics) {
  try {
    return FileCheck(set, file, diagnostics).Run();
  } catch (const CommandFailure& failure) {
    diagnostics.Report(failure.diagnostic);
    return failure.exitCode;
  } catch (const std::exception& error) {
    diagnostics.Report({.id = Id::kInternal, .place = {.file = file}, .message = error.what()});
    return kExitInternal;
  }
}

// The work of a child: all files given, each told of to the parent.
int CheckHere(const CheckOptions& options, Diagnostics& diagnostics) {
  const DocumentSet set(options.set);
  diagnostics.CountAsTold(options.child->told);
  for (const std::string& file : options.files) {
    int code = CheckFile(set, file, diagnostics);
    const bool isHeard = static_cast<bool>(std::cout.flush());
    if (!isHeard) code = kExitNoOutput;
    system::TellParent(options.child->channel, {code, diagnostics.told()});
    if (!isHeard) break;
  }
  return kExitFine;
}

// A parent's work: children, one after the other.
class Parent {
 public:
  Parent(const CheckOptions& options, Diagnostics& diagnostics)
      : options_(options), diagnostics_(diagnostics) {}

  int Run() {
    while (done_ < options_.files.size() && exitCode_ != kExitNoOutput) CheckSome();
    return exitCode_;
  }

 private:
  // As far as one child gets.
  void CheckSome() {
    const std::size_t end = std::min(options_.files.size(), done_ + kFilesAChild);
    const bool endedWell = system::RunSelf(ArgumentsUpTo(end), [&](const system::Progress& progress) {
      ++done_;
      exitCode_ = Worse(exitCode_, progress.exitCode);
      diagnostics_.CountAsTold(progress.told);
    });
    if (done_ == end || (endedWell && exitCode_ == kExitNoOutput)) return;
    diagnostics_.Report({.id = Id::kInternal,
                         .place = {.file = options_.files[done_]},
                         .message = "the check of this file broke off"});
    exitCode_ = kExitInternal;
    ++done_;
  }

  std::vector<std::string> ArgumentsUpTo(std::size_t end) const {
    std::vector<std::string> arguments = {"check", "--told=" + std::to_string(diagnostics_.told())};
    arguments.insert(arguments.end(), options_.manners.begin(), options_.manners.end());
    arguments.emplace_back("--no-project");
    arguments.push_back("--descriptions=" + options_.set.descriptions);
    if (!options_.set.rules.empty()) arguments.push_back("--rules=" + options_.set.rules);
    arguments.push_back("--root=" + options_.set.root);
    if (NeedsInput()) arguments.push_back("--input-copy=" + StandardInputFile());
    arguments.emplace_back("--");
    arguments.insert(arguments.end(), options_.files.begin() + static_cast<std::ptrdiff_t>(done_),
                     options_.files.begin() + static_cast<std::ptrdiff_t>(end));
    return arguments;
  }

  // Standard input can be read but once.
  bool NeedsInput() const {
    return options_.set.descriptions == kStandardStream || options_.set.rules == kStandardStream ||
           std::find(options_.files.begin(), options_.files.end(), kStandardStream) != options_.files.end();
  }

  const CheckOptions& options_;
  Diagnostics& diagnostics_;
  std::size_t done_ = 0;
  int exitCode_ = kExitFine;
};

}  // namespace

int RunCheck(const CheckOptions& options, Diagnostics& diagnostics) {
  if (options.child) {
    if (!options.child->inputCopy.empty()) SetStandardInputFile(options.child->inputCopy);
    return CheckHere(options, diagnostics);
  }
  // What is wrong with the set is told of once, before any file.
  const int ofTheSet = TellOfSet(DocumentSet(options.set), diagnostics);
  const int exitCode = Worse(ofTheSet, Parent(options, diagnostics).Run());
  diagnostics.TellHidden();
  return exitCode;
}

}  // namespace sbx::tool
