#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "engine/mapi/property_ids.h"
#include "tests/engine/mapi_documents.h"
#include "tests/engine/workbook_writer.h"
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

/// The same in binary records, without a compound file around them.
std::string binary_workbook_of_many_strings() {
  using namespace trfilter::test;
  constexpr std::uint32_t count = 40'000;
  constexpr std::size_t longest_record = 8'000;
  RecordWriter table;
  std::uint16_t type = 0x00FC;
  std::string data = u32(count) + u32(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string item = narrow(std::to_string(i) + ":" + std::string(500, 'x'));
    if (data.size() + item.size() > longest_record) {
      table.add(std::exchange(type, 0x003C), data);
      data.clear();
    }
    data += item;
  }
  table.add(type, data);
  const std::string row = RecordWriter().add(0x00FD, cell(0, 0) + u32(count - 1)).bytes();
  return workbook_stream(table.bytes(), {{"S", row}});
}

/// An item of Outlook in an item in an item, the innermost with much attached to it.
std::string message_of_messages() {
  using namespace trfilter::test;
  namespace id = trfilter::mapi::id;
  MapiItem item;
  item.properties.text(id::message_class, "IPM.Note");
  MapiItem::Attached file;
  file.properties.integer(id::attach_method, 1)
      .text(id::attach_long_filename, "a.txt")
      .binary(id::attach_data, std::string(std::size_t{5} << 20, 'x'));
  item.attachments.push_back(std::move(file));
  for (int depth = 0; depth < 2; ++depth) {
    MapiItem outer;
    outer.properties.text(id::message_class, "IPM.Note");
    MapiItem::Attached attached;
    attached.properties.integer(id::attach_method, 5).text(id::display_name, "inner");
    attached.message.push_back(std::move(item));
    outer.attachments.push_back(std::move(attached));
    item = std::move(outer);
  }
  return msg_document(item);
}

TEST(TemporaryDirectory, TakesStringsOfBinaryWorkbooksAndMessagesInMessages) {
  const EmptyDirectory directory;
  const std::pair<Shown, std::string> documents[] = {
      {Shown::code, binary_workbook_of_many_strings()},
      {Shown::member_code, message_of_messages()}};
  for (const auto& [shown, document] : documents) {
    Configuration configuration;
    configuration.temporary_directory(directory.path());
    EXPECT_EQ(seen(shown, document, configuration), "0");
    EXPECT_TRUE(fs::is_empty(directory.path()));
    configuration.temporary_directory("/nowhere/at/all");
    EXPECT_EQ(seen(shown, document, configuration), "15");
  }
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
