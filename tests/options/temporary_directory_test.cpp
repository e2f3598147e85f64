#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/engine/zip_writer.h"
#include "tests/options/documents.h"
#include "tests/options/matrix.h"

// Whatever the engine writes lies in the directory of the host's choice, and is gone afterwards.

namespace tarnis::options {
namespace {

namespace fs = std::filesystem;

/// An empty directory that goes with the object.
class EmptyDirectory {
 public:
  EmptyDirectory() {
    std::string pattern = (fs::temp_directory_path() / "options-XXXXXX").string();
    EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
    path_ = pattern;
  }
  EmptyDirectory(const EmptyDirectory&) = delete;
  EmptyDirectory& operator=(const EmptyDirectory&) = delete;
  ~EmptyDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A workbook with more strings than memory keeps.
std::string workbook_of_many_strings() {
  constexpr std::size_t count = 40'000;
  std::string rows = "<sheetData><row><c t='s'><v>0</v></c><c t='s'><v>39999</v></c></row>";
  std::string items = "<sst xmlns='http://schemas.openxmlformats.org/spreadsheetml/2006/main'>";
  for (std::size_t i = 0; i < count; ++i) {
    items += "<si><t>" + std::to_string(i) + ":" + std::string(500, 'x') + "</t></si>";
  }
  return xlsx_with_strings(rows + "</sheetData>", items + "</sst>");
}

TEST(TemporaryDirectory, TakesWhatTheEngineWritesAndIsLeftEmpty) {
  const EmptyDirectory directory;
  const std::string document = workbook_of_many_strings();
  Configuration configuration;
  configuration.temporary_directory(directory.path());
  const std::string text = seen(Shown::text, document, configuration);
  EXPECT_TRUE(text.starts_with("S\n0:xxx")) << text.substr(0, 100);
  EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(TemporaryDirectory, ThatIsNotThereEndsWhatNeedsItWithCode15) {
  Configuration configuration;
  configuration.temporary_directory("/nowhere/at/all");
  EXPECT_EQ(seen(Shown::code, workbook_of_many_strings(), configuration), "15");
  // What needs no file is read as ever.
  for (const char* name : {"letter.docx", "sheet.xlsx", "report.odt", "memo.rtf", "columns.pdf"}) {
    EXPECT_EQ(seen(Shown::code, sample(name), configuration), "0") << name;
  }
}

}  // namespace
}  // namespace tarnis::options
