#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "engine/core/registry.h"
#include "engine/detect/detect.h"

// Documents from the wild with stated media types. The folder is not part of the checkout; without
// it there is nothing to measure.

namespace trfilter::test {
namespace {

const std::string corpus = std::string(TARNIS_SOURCE_DIRECTORY) + "/../shared/corpus";

std::string file_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Media type to the format numbers that are right for it.
std::map<std::string, std::vector<std::uint32_t>> acceptable_formats() {
  std::map<std::string, std::vector<std::uint32_t>> table;
  std::ifstream file(std::string(TARNIS_SOURCE_DIRECTORY) + "/tests/corpus/media_types.tsv");
  for (std::string line; std::getline(file, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    std::istringstream numbers(line.substr(tab + 1));
    for (std::string number; std::getline(numbers, number, ',');) {
      table[line.substr(0, tab)].push_back(static_cast<std::uint32_t>(std::stoul(number)));
    }
  }
  return table;
}

/// The media type stated for each file: the "mime" of each member of the outer object. Only what
/// the file of facts has is read of JSON: members on lines of their own, or all on one line.
std::map<std::string, std::string> stated_media_types() {
  std::map<std::string, std::string> stated;
  const std::string facts = file_bytes(corpus + "/facts.json");
  int depth = 0;
  std::string name;
  std::string last;
  bool after_colon = false;
  for (std::size_t at = 0; at < facts.size(); ++at) {
    const char c = facts[at];
    if (c == '{' || c == '[') ++depth;
    if (c == '}' || c == ']') --depth;
    if (c == ':') after_colon = true;
    if (c == ',' || c == '{' || c == '[') after_colon = false;
    if (c != '"') continue;
    std::string text;
    for (++at; at < facts.size() && facts[at] != '"'; ++at) {
      if (facts[at] == '\\') ++at;
      text += facts[at];
    }
    if (depth == 1 && !after_colon) name = text;
    if (depth == 2 && after_colon && last == "mime") stated[name] = text;
    if (!after_colon) last = text;
  }
  return stated;
}

TEST(Corpus, HasTheStatedMediaTypes) {
  if (!std::filesystem::exists(corpus + "/facts.json"))
    GTEST_SKIP() << "no corpus beside the checkout";
  const ReaderModules modules(TARNIS_ENGINE_DIRECTORY);
  const auto acceptable = acceptable_formats();
  const auto stated = stated_media_types();
  ASSERT_GT(stated.size(), 100u);
  int right = 0;
  int counted = 0;
  for (const auto& [name, type] : stated) {
    const auto row = acceptable.find(type);
    if (row == acceptable.end()) continue;
    Document document = Document::from_memory(file_bytes(corpus + "/files/" + name));
    const Detection detection = detect(document, &modules);
    const auto number = static_cast<std::uint32_t>(detection.format);
    ++counted;
    if (std::find(row->second.begin(), row->second.end(), number) != row->second.end()) {
      ++right;
    } else {
      std::cout << name << " is " << type << ", detected as " << number << "\n";
    }
  }
  std::cout << right << " of " << counted << " stated media types are right\n";
  EXPECT_GE(right * 100, counted * 90);
}

TEST(Corpus, HasACategoryForEveryAnswer) {
  if (!std::filesystem::exists(corpus + "/files")) GTEST_SKIP() << "no corpus beside the checkout";
  for (const auto& entry : std::filesystem::directory_iterator(corpus + "/files")) {
    const std::string bytes = file_bytes(entry.path().string());
    Document document = Document::from_memory(bytes);
    const Detection detection = detect(document, nullptr);
    EXPECT_EQ(detection.format == Format::none, detection.category == Category::none)
        << entry.path();
    // The begin alone, as of a transfer that broke off, must be survived too.
    for (const std::size_t size : {std::size_t{1}, std::size_t{100}, bytes.size() / 2}) {
      Document cut = Document::from_memory(bytes.substr(0, size));
      detect(cut, nullptr);
    }
  }
}

}  // namespace
}  // namespace trfilter::test
