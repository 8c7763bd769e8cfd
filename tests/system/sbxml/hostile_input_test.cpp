// The command on documents that nobody wrote: it never crashes, its own walk always agrees with the library,
// and the numbers that it says are stored are the ones in memory.
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "sbxml/tool_runner.h"

namespace sbx::testing {
namespace {

using Json = nlohmann::json;

std::vector<Json> LinesOf(const std::string& text) {
  std::vector<Json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(Json::parse(line));
  return lines;
}

// The same bytes for the same seed everywhere.
class Damage {
 public:
  explicit Damage(std::uint32_t seed) : random_(seed) {}

  std::size_t Below(std::size_t end) { return end == 0 ? 0 : random_() % end; }

  std::string Bytes() {
    std::string bytes(Below(300), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }

  // One to four changes to a document.
  std::string Of(std::string text) {
    for (std::size_t changes = 1 + Below(4); changes != 0; --changes) Change(text);
    return text;
  }

 private:
  void Change(std::string& text) {
    static const char* const kPieces[] = {"<",
                                          ">",
                                          "/>",
                                          "&",
                                          "\"",
                                          "<![CDATA[",
                                          "]]>",
                                          "<!--",
                                          "-->",
                                          "<?x ?>",
                                          "<w>",
                                          "</w>",
                                          "<Job>",
                                          " flag=\"null\"",
                                          " flag=\"binary\"",
                                          " flag=\"bin_utf8\"",
                                          "(",
                                          "0x",
                                          "-",
                                          "  ",
                                          "99999999999999999999",
                                          "\xEF\xBF\xBD",
                                          "\xFF\xFE",
                                          "&#x10FFFF;",
                                          "<next/>",
                                          "<pages/>",
                                          "<title>",
                                          "<number>7</number>",
                                          "e9",
                                          "<!DOCTYPE a [<!ENTITY b 'c'>]>",
                                          "<Page><number>3</number></Page>",
                                          "<label>",
                                          "<tone>5</tone>"};
    const std::size_t at = Below(text.size());
    switch (Below(6)) {
      case 0:
        if (!text.empty()) text[at] = static_cast<char>(random_());
        return;
      case 1:
        text.erase(at, Below(40));
        return;
      case 2:
        text.insert(at, text.substr(Below(text.size()), Below(60)));
        return;
      case 3:
        text.resize(at);
        return;
      default:
        text.insert(at, kPieces[Below(std::size(kPieces))]);
    }
  }

  std::mt19937 random_;
};

// The good document's lines with some doubled, dropped or swapped, so that most still load.
std::string Shuffled(const std::string& text, Damage& damage) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  for (std::size_t changes = 1 + damage.Below(4); changes != 0; --changes) {
    const std::size_t inner = lines.size() - 2;
    if (inner < 3) break;
    const std::size_t at = 1 + damage.Below(inner);
    switch (damage.Below(3)) {
      case 0:
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(1 + damage.Below(inner)),
                     std::string(lines[at]));
        break;
      case 1:
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
        break;
      default:
        std::swap(lines[at], lines[1 + damage.Below(inner)]);
    }
  }
  std::string out;
  for (const std::string& line : lines) out += line + "\n";
  return out;
}

// SBXML_HOSTILE_DOCUMENTS sets how many there are.
int DocumentCount() {
  const char* const text = std::getenv("SBXML_HOSTILE_DOCUMENTS");
  return text == nullptr ? 400 : std::atoi(text);
}

class SbxmlHostile : public ::testing::TestWithParam<const char*> {
 protected:
  SbxmlHostile() : folder_(GetParam()), good_(folder_.Read("good.xml")) { folder_.SetVariable("TZ", "UTC"); }

  std::string Document(int number) {
    Damage damage(static_cast<std::uint32_t>(number));
    if (number % 20 == 0) return damage.Bytes();
    if (number % 4 == 1) return Shuffled(good_, damage);
    if (number % 4 == 2) return damage.Of(Shuffled(good_, damage));
    return damage.Of(good_);
  }

  // Writes the documents and returns their names.
  std::vector<std::string> WriteAll() {
    std::vector<std::string> names;
    for (int number = 0; number < DocumentCount(); ++number) {
      names.push_back("f" + std::to_string(number) + ".xml");
      folder_.Write(names.back(), Document(number));
    }
    return names;
  }

  ToolFolder folder_;
  std::string good_;
};

std::string EndOfCheck(const std::vector<Json>& findings) {
  int worst = 0;
  for (const Json& finding : findings) {
    const std::string id = finding["id"];
    const int code = id == "file-unreadable"                            ? 3
                     : id == "not-well-formed" || id == "does-not-load" ? 4
                     : id == "bad-descriptions" || id == "bad-rules"    ? 5
                     : id == "internal"                                 ? 70
                                                                        : 1;
    worst = std::max(worst, code);
  }
  return "exit " + std::to_string(worst);
}

// Where the command's walk of the reader's way ends must be where the reader itself ends.
TEST_P(SbxmlHostile, TheCheckSeesWhatTheLibrarySees) {
  std::vector<std::string> arguments = {"check", "--json"};
  for (const std::string& name : WriteAll()) arguments.push_back(name);
  const Said said = folder_.RunWithSet(arguments);
  EXPECT_EQ(said.errors, "");
  const std::vector<Json> findings = LinesOf(said.output);
  EXPECT_EQ(said.ended, EndOfCheck(findings));
  int loaded = 0;
  for (const Json& finding : findings) {
    EXPECT_NE(finding["id"], "internal") << finding;
    EXPECT_NE(finding["id"], "analysis-ended") << finding;
    EXPECT_NE(finding["message"], "the library refuses the document") << finding;
    loaded += finding["id"] == "missing-item" || finding["id"] == "replaced-item" ? 1 : 0;
  }
  EXPECT_GT(loaded, 50) << "too few documents come so far that they say something";
}

TEST_P(SbxmlHostile, OtherCommandsEndAsTheCheckDoes) {
  const std::vector<std::string> names = WriteAll();
  for (std::size_t at = 0; at < names.size(); at += 9) {
    SCOPED_TRACE(names[at]);
    const std::string checked = folder_.RunWithSet({"check", "--json", names[at]}).ended;
    const bool loads = checked == "exit 0" || checked == "exit 1";
    const Said inspected = folder_.RunWithSet({"inspect", "--json", "--blocks", names[at]});
    EXPECT_EQ(inspected.ended == "exit 0" || inspected.ended == "exit 1", loads) << inspected.errors;
    if (loads) {
      // Every block of the library's is accounted for.
      std::uint64_t sum = 0;
      const std::vector<Json> blocks = LinesOf(inspected.output);
      for (const Json& block : blocks)
        sum += block["kind"] == "block" ? block["size"].get<std::uint64_t>() : 0;
      EXPECT_EQ(sum, blocks.back()["size"].get<std::uint64_t>());
    }
    const Said laidOut = folder_.Run({"convert", "--pretty", names[at], "-o", "out.xml"});
    EXPECT_TRUE(laidOut.ended == "exit 0" || laidOut.ended == "exit 1" || laidOut.ended == checked)
        << laidOut.ended;
  }
}

TEST_P(SbxmlHostile, DamagedDescriptionsAndRulesEndInACodeToo) {
  for (int number = 0; number < 60; ++number) {
    SCOPED_TRACE(number);
    Damage damage(static_cast<std::uint32_t>(1000 + number));
    const char* const file = number % 2 == 0 ? "descriptions.xml" : "rules.xml";
    const std::string whole = folder_.Read(file);
    folder_.Write("damaged.xml", damage.Of(whole));
    std::vector<std::string> arguments = {"check",     "--json", "-d",  "descriptions.xml", "-r",
                                          "rules.xml", "--root", "Job", "good.xml"};
    arguments[number % 2 == 0 ? 3 : 5] = "damaged.xml";
    const Said said = folder_.Run(arguments);
    EXPECT_EQ(said.ended, EndOfCheck(LinesOf(said.output)));
    EXPECT_EQ(said.output.find("\"internal\""), std::string::npos) << said.output;
    EXPECT_EQ(said.output.find("analysis-ended"), std::string::npos) << said.output;
    EXPECT_EQ(said.output.find("the library refuses the document"), std::string::npos) << said.output;
    const Said described = folder_.Run({"describe", arguments[2], arguments[3], arguments[4], arguments[5]});
    EXPECT_TRUE(described.ended == "exit 0" || described.ended == "exit 1" || described.ended == "exit 5" ||
                described.ended == "exit 3")
        << described.ended;
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, SbxmlHostile, ::testing::Values("", "ruled"));

// --- what is said to be stored is stored -------------------------------------------------------------------

// Odd texts for numbers, glued together at random.
std::string OddNumber(Damage& damage) {
  static const char* const kPieces[] = {"0",
                                        "1",
                                        "7",
                                        "9",
                                        "0x",
                                        "0X",
                                        "-",
                                        "+",
                                        " ",
                                        "\t",
                                        "\n",
                                        "(",
                                        ")",
                                        "e",
                                        "E",
                                        ".",
                                        "f",
                                        "F",
                                        "inf",
                                        "nan",
                                        "x",
                                        "255",
                                        "65536",
                                        "4294967296",
                                        "9223372036854775808",
                                        "18446744073709551616",
                                        "16777217",
                                        "1e39",
                                        "%"};
  std::string text;
  for (std::size_t pieces = damage.Below(6); pieces != 0; --pieces)
    text += kPieces[damage.Below(std::size(kPieces))];
  return text;
}

// The piece of a sentence that names what is stored, and the entry that it is about.
struct Stored {
  std::size_t entry = 0;
  std::string value;
};
std::optional<Stored> StoredOf(const std::string& message) {
  const std::string end = " is stored";
  if (!message.ends_with(end)) return std::nullopt;
  const std::size_t first = message.rfind(": ", message.size() - end.size()) + 2;
  Stored stored = {0, message.substr(first, message.size() - end.size() - first)};
  if (message.starts_with("entry ")) stored.entry = std::stoul(message.substr(6));
  return stored;
}

// As the command writes values, which JSON can't all hold.
std::string AsSaid(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_number_float()) return value.dump();
  char text[400];
  std::snprintf(text, sizeof text, "%f", value.get<double>());
  return text;
}

TEST(SbxmlTruth, WhatIsSaidToBeStoredIsInMemory) {
  const ToolFolder folder;
  const JobText job;
  const char* const kItems[] = {"copies", "tone", "rush", "weight", "scale", "margins", "kind", "id"};
  int compared = 0;
  for (std::uint32_t round = 0; round < 60; ++round) {
    Damage damage(round);
    std::string document = folder.Read("good.xml");
    for (const char* const item : kItems) {
      const std::string open = std::string("<") + item + ">";
      const std::size_t at = document.find(open);
      std::string text = OddNumber(damage);
      if (std::string(item) == "margins") text += " " + OddNumber(damage) + " " + OddNumber(damage);
      document.replace(at, document.find('\n', at) - at, open + text + "</" + item + ">");
    }
    folder.Write("job.xml", document);
    std::map<std::string, Json> values;
    for (const Json& line : LinesOf(folder.RunWithSet({"inspect", "--json", "job.xml"}).output)) {
      if (line.contains("value")) values[line["path"]] = line["value"];
    }
    const std::vector<Json> findings = LinesOf(folder.RunWithSet({"check", "--json", "job.xml"}).output);
    for (const Json& finding : findings) {
      const std::optional<Stored> stored = StoredOf(finding["message"]);
      if (!stored) continue;
      const Json& value = values.at(finding["path"]);
      EXPECT_EQ(AsSaid(value.is_array() ? value.at(stored->entry) : value), stored->value)
          << finding << document;
      ++compared;
    }
    // What nothing is said of reads as it is written.
    for (const char* const item : {"tone", "weight", "id"}) {
      const std::string path = std::string("Job/") + item;
      const bool isTold = std::any_of(findings.begin(), findings.end(),
                                      [&](const Json& finding) { return finding.value("path", "") == path; });
      if (isTold) continue;
      const std::size_t at = document.find(std::string("<") + item + ">") + std::string(item).size() + 2;
      const long long written = std::stoll(document.substr(at), nullptr, 0);
      const bool isSame = document.compare(document.find_first_not_of(" \t", at), 2, "0x") == 0 ||
                          document.compare(document.find_first_not_of(" \t", at), 2, "0X") == 0 ||
                          std::stoll(document.substr(at), nullptr, 10) == values.at(path).get<long long>();
      EXPECT_TRUE(isSame) << path << ' ' << written << document;
    }
  }
  EXPECT_GT(compared, 200);
}

}  // namespace
}  // namespace sbx::testing
