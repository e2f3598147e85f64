#include "tests/options/matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// The matrix of options and format families: docs/options.md says what each option does in each
// family, and every such promise is kept by a document.

namespace tarnis::options {
namespace {

constexpr std::string_view no_such_thing = "—";

// Cells of these options are shown by tests of their own, or need a document that takes long.
const std::set<std::string> shown_elsewhere = {"timeout", "extraction_timeout",
                                               "temporary_directory"};

using Cells = std::map<std::pair<std::string, std::string>, std::string>;

std::vector<std::string> columns_of(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream parts(line.substr(1));
  for (std::string cell; std::getline(parts, cell, '|');) {
    const std::size_t begin = cell.find_first_not_of(" `");
    cells.push_back(begin == std::string::npos
                        ? ""
                        : cell.substr(begin, cell.find_last_not_of(" `") + 1 - begin));
  }
  return cells;
}

/// The cells of the tables of docs/options.md whose first column is headed "option".
Cells documented_cells() {
  Cells cells;
  std::ifstream file(std::string(TARNIS_SOURCE_DIRECTORY) + "/docs/options.md");
  EXPECT_TRUE(file);
  std::vector<std::string> head;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with('|')) {
      head.clear();
      continue;
    }
    const std::vector<std::string> columns = columns_of(line);
    if (columns.front() == "option") {
      head = columns;
    } else if (!head.empty() && !columns.front().starts_with("---")) {
      for (std::size_t i = 1; i < columns.size(); ++i) {
        EXPECT_TRUE(cells.try_emplace({columns.front(), head[i]}, columns[i]).second) << line;
      }
    }
  }
  return cells;
}

TEST(OptionMatrix, EveryCellIsDocumented) {
  const Cells cells = documented_cells();
  for (const std::string& option : option_names()) {
    for (const std::string& family : family_names()) {
      const auto found = cells.find({option, family});
      ASSERT_NE(found, cells.end()) << option << " × " << family;
      EXPECT_FALSE(found->second.empty()) << option << " × " << family;
    }
  }
  EXPECT_EQ(cells.size(), option_names().size() * family_names().size());
}

TEST(OptionMatrix, EveryPromiseIsShownOnADocumentAndEveryShownEffectPromised) {
  std::set<std::pair<std::string, std::string>> shown;
  for (const Effect& effect : effects()) shown.emplace(effect.option, effect.family);
  for (const auto& [cell, words] : documented_cells()) {
    if (shown_elsewhere.contains(cell.first)) continue;
    EXPECT_EQ(shown.contains(cell), words != no_such_thing)
        << cell.first << " × " << cell.second << ": " << words;
  }
}

class OptionEffect : public testing::TestWithParam<Effect> {};

TEST_P(OptionEffect, IsSeen) {
  const Effect& effect = GetParam();
  EXPECT_EQ(seen(effect.shown, effect.document, effect.off), effect.without) << "off";
  EXPECT_EQ(seen(effect.shown, effect.document, effect.on), effect.with) << "on";
  EXPECT_NE(effect.without, effect.with);
}

INSTANTIATE_TEST_SUITE_P(Matrix, OptionEffect, testing::ValuesIn(effects()),
                         [](const testing::TestParamInfo<Effect>& row) {
                           std::string name = row.param.option + "_" + row.param.family + "_" +
                                              std::to_string(row.index);
                           std::ranges::replace(name, ' ', '_');
                           return name;
                         });

}  // namespace

/// What a failing test names its row by.
void PrintTo(const Effect& effect, std::ostream* out) {
  *out << effect.option << " × " << effect.family;
}

}  // namespace tarnis::options
