#include "sbxml/comparison.h"

#include <algorithm>
#include <map>
#include <utility>

#include "sbxml/number_reading.h"
#include "sbxml/text.h"
#include "xml/byte_string.h"
#include "xml/xml_element_ref.h"

namespace sbx::tool {
namespace {

// Pieces between blanks, the text in parentheses left out.
std::vector<WideView> NumbersOf(WideView text) {
  text = text.substr(0, text.find(u'('));
  std::vector<WideView> numbers;
  std::size_t first = text.find_first_not_of(u" \t");
  while (first < text.size()) {
    const std::size_t end = std::min(text.find_first_of(u" \t", first), text.size());
    numbers.push_back(text.substr(first, end - first));
    first = text.find_first_not_of(u" \t", end);
  }
  return numbers;
}

WideView PresentationOf(WideView text) {
  const std::size_t open = text.find(u'(');
  if (open == WideView::npos) return {};
  const std::size_t last = text.find_last_not_of(u" \t");
  return text.substr(open, last + 1 - open);
}

class Comparison {
 public:
  Comparison(const SourceFile& file, const SourceTree& before, const ElementNotes& notes,
             const SourceTree& after)
      : file_(file), before_(before), notes_(notes), after_(after) {}

  // Pairs wait in a list, so that depth costs memory and no stack.
  std::vector<Diagnostic> Run() {
    pairs_.emplace_back(before_.elements().front(), after_.elements().front());
    while (!pairs_.empty()) {
      const auto [here, there] = pairs_.back();
      pairs_.pop_back();
      Compare(here, there);
    }
    return std::move(findings_);
  }

 private:
  using Indexes = std::vector<std::size_t>;

  void Compare(std::size_t here, std::size_t there) {
    const Indexes mine = ElementsOf(before_, here);
    const Indexes theirs = ElementsOf(after_, there);
    const ElementNote& note = notes_[here];
    if (mine.empty() && theirs.empty()) {
      if (!note.isExplained) CompareLeaves(here, there);
      return;
    }
    if (theirs.empty()) {
      if (!note.isExplained && !AllPassedOver(mine))
        Tell(Id::kChangedValue, here, "comes back without its elements");
      return;
    }
    // A record of which nothing stands here comes back with all its items, which are told of as missing.
    if (mine.empty()) return;
    if (note.content == ElementNote::Content::kEntries) {
      PairByPlace(mine, theirs);
    } else {
      PairByTag(mine, theirs);
    }
  }

  bool AllPassedOver(const Indexes& elements) const {
    return std::all_of(elements.begin(), elements.end(),
                       [&](std::size_t at) { return notes_[at].isPassedOver; });
  }

  static Indexes ElementsOf(const SourceTree& tree, std::size_t node) {
    Indexes elements;
    tree.ForEachChild(node, [&](std::size_t child) {
      if (tree.nodes()[child].kind == SourceNode::Kind::kElement) elements.push_back(child);
    });
    return elements;
  }

  // Entries come back under the name of the record that they were read as.
  void PairByPlace(const Indexes& mine, const Indexes& theirs) {
    for (std::size_t at = 0; at < mine.size(); ++at) {
      if (notes_[mine[at]].isPassedOver) continue;
      if (at < theirs.size()) {
        pairs_.emplace_back(mine[at], theirs[at]);
      } else {
        Tell(Id::kLostElement, mine[at], "does not come back");
      }
    }
  }

  void PairByTag(const Indexes& mine, const Indexes& theirs) {
    std::map<WideView, Indexes> byTag;
    for (std::size_t at = theirs.size(); at-- > 0;)
      byTag[after_.nodes()[theirs[at]].text].push_back(theirs[at]);
    for (const std::size_t element : mine) {
      if (notes_[element].isPassedOver) continue;
      Indexes& found = byTag[before_.nodes()[element].text];
      if (found.empty()) {
        Tell(Id::kLostElement, element, "does not come back");
      } else {
        pairs_.emplace_back(element, found.back());
        found.pop_back();
      }
    }
  }

  void CompareLeaves(std::size_t here, std::size_t there) {
    const ElementNote& note = notes_[here];
    if (note.content == ElementNote::Content::kEntries) return;
    const WideView flag = before_.AttributeOf(here, kFlagAttribute);
    const WideView flagThere = after_.AttributeOf(there, kFlagAttribute);
    const bool isNull = flag == u"null";
    if (isNull != (flagThere == u"null")) {
      return Tell(Id::kChangedValue, here, isNull ? "null comes back as something" : "comes back as null");
    }
    const WideString text = before_.TextOf(here);
    const WideString textThere = after_.TextOf(there);
    if (note.content == ElementNote::Content::kNumbers && note.primary != nullptr) {
      return CompareNumbers(here, text, textThere);
    }
    const WideString value = xml::DecodeContent(text, flag);
    const WideString valueThere = xml::DecodeContent(textThere, flagThere);
    if (value == valueThere) return;
    Tell(Id::kChangedValue, here, Quoted(value) + " comes back as " + Quoted(valueThere));
  }

  void CompareNumbers(std::size_t here, WideView text, WideView textThere) {
    const std::vector<WideView> numbers = NumbersOf(text);
    const std::vector<WideView> numbersThere = NumbersOf(textThere);
    const PrimaryType& type = *notes_[here].primary;
    const bool isSame = std::equal(numbers.begin(), numbers.end(), numbersThere.begin(), numbersThere.end(),
                                   [&](WideView a, WideView b) { return StoresTheSame(type, a, b); });
    if (!isSame) {
      return Tell(Id::kChangedValue, here, Quoted(text) + " comes back as " + Quoted(textThere));
    }
    const WideView shown = PresentationOf(text);
    if (!shown.empty() && shown != PresentationOf(textThere)) {
      Tell(Id::kPresentationIgnored, here,
           Quoted(shown) + " is ignored: the number decides, and comes back as " + Quoted(textThere));
    }
  }

  void Tell(Id id, std::size_t element, std::string message) {
    Diagnostic& finding = findings_.emplace_back();
    finding.id = id;
    finding.place = file_.At(before_.nodes()[element].position);
    DescribeItem(before_, notes_, element, finding);
    if (finding.path.empty()) message = Quoted(before_.nodes()[element].text) + " " + message;
    finding.message = std::move(message);
  }

  const SourceFile& file_;
  const SourceTree& before_;
  const ElementNotes& notes_;
  const SourceTree& after_;
  std::vector<std::pair<std::size_t, std::size_t>> pairs_;
  std::vector<Diagnostic> findings_;
};

}  // namespace

std::vector<Diagnostic> CompareWithReturned(const SourceFile& file, const SourceTree& before,
                                            const ElementNotes& notes, const SourceTree& after) {
  return Comparison(file, before, notes, after).Run();
}

}  // namespace sbx::tool
