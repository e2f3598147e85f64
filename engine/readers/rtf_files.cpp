// Data of pictures (\pict) and of objects (\objdata, an OLE 1 stream as [MS-OLEDS] 2.2.5 describes
// it): hexadecimal digits or the bytes behind \bin. Groups inside of such a group hold no data.

#include "engine/readers/rtf_files.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/compound/ole_package.h"
#include "engine/core/embedded_files.h"
#include "engine/core/fields.h"
#include "engine/core/media_extension.h"
#include "engine/core/ole_members.h"

namespace trfilter::rtf {
namespace {

constexpr std::size_t block_size = std::size_t{64} << 10;
// Bytes of an object that hold what stands before its own data.
constexpr std::size_t head_size = std::size_t{16} << 10;

using Take = std::function<void(std::string_view)>;

/// The document's bytes one by one.
class Bytes {
 public:
  Bytes(const ReaderContext& context, std::uint64_t offset)
      : limits_(context.limits), cursor_(context.document, offset), block_(block_size, '\0') {}

  /// @return -1 at the end
  int get() {
    if (at_ == count_ && !fill()) return -1;
    return static_cast<unsigned char>(block_[at_++]);
  }

  void step_back() { --at_; }

  std::uint64_t offset() const { return cursor_.offset() - (count_ - at_); }

  /// Hands over up to `count` bytes as they are.
  void copy(std::uint64_t count, const Take& take) {
    while (count != 0 && (at_ != count_ || fill())) {
      const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(count, count_ - at_));
      take(std::string_view(block_).substr(at_, piece));
      at_ += piece;
      count -= piece;
    }
  }

 private:
  bool fill() {
    limits_.check_time();
    count_ = cursor_.read(block_);
    at_ = 0;
    return count_ != 0;
  }

  Limits& limits_;
  DocumentCursor cursor_;
  std::string block_;
  std::size_t at_ = 0;
  std::size_t count_ = 0;
};

struct Word {
  std::string name;  ///< empty: a symbol
  std::uint64_t parameter = 0;
};

bool is_letter(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// What stands behind a backslash.
Word read_word(Bytes& bytes) {
  constexpr std::size_t longest = 32;
  constexpr std::uint64_t most = 0x7FFFFFFF;
  Word word;
  int c = bytes.get();
  if (!is_letter(c)) return word;
  for (; is_letter(c); c = bytes.get()) {
    if (word.name.size() < longest) word.name.push_back(static_cast<char>(c));
  }
  const bool negative = c == '-';
  if (negative) c = bytes.get();
  for (; c >= '0' && c <= '9'; c = bytes.get()) {
    word.parameter = std::min(word.parameter * 10 + static_cast<std::uint64_t>(c - '0'), most);
  }
  if (negative) word.parameter = 0;
  if (c >= 0 && c != ' ') bytes.step_back();
  return word;
}

int digit_value(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string_view extension_of_word(std::string_view word) {
  struct Row {
    std::string_view word;
    std::string_view extension;
  };
  constexpr auto rows = std::to_array<Row>({{"pngblip", ".png"},
                                            {"jpegblip", ".jpg"},
                                            {"emfblip", ".emf"},
                                            {"wmetafile", ".wmf"},
                                            {"macpict", ".pict"},
                                            {"dibitmap", ".dib"},
                                            {"wbitmap", ".ddb"}});
  const auto row = std::ranges::find(rows, word, &Row::word);
  return row == rows.end() ? std::string_view() : row->extension;
}

/// Reads the data of a group from behind its control word up to and with its closing brace.
/// @return what its words say that the data are, as an extension
std::string_view read_data(Bytes& bytes, const Take& take) {
  std::string_view extension;
  std::string pending;
  const auto hand_over = [&] {
    if (!pending.empty()) take(pending);
    pending.clear();
  };
  std::uint64_t groups = 0;
  int high = -1;
  for (int c = bytes.get(); c >= 0; c = bytes.get()) {
    if (c == '{') {
      ++groups;
    } else if (c == '}') {
      if (groups == 0) break;
      --groups;
    } else if (c == '\\') {
      const Word word = read_word(bytes);
      if (word.name == "bin") {
        hand_over();
        bytes.copy(
            word.parameter, groups == 0 ? take : [](std::string_view) {});
      } else if (groups == 0) {
        if (const auto stated = extension_of_word(word.name); !stated.empty()) extension = stated;
      }
    } else if (const int value = groups == 0 ? digit_value(c) : -1; value >= 0) {
      if (high < 0) {
        high = value;
        continue;
      }
      pending.push_back(static_cast<char>(high * 16 + value));
      high = -1;
      if (pending.size() == block_size) hand_over();
    }
  }
  hand_over();
  return extension;
}

/// Passes over the rest of a group.
void skip_group(Bytes& bytes) {
  read_data(bytes, [](std::string_view) {});
}

/// Part of a group's data.
struct Range {
  std::uint64_t group = 0;  ///< where the group's data begin in the document
  std::uint64_t begin = 0;  ///< among the data
  std::uint64_t size = 0;
};

void write_range(const ReaderContext& context, const Range& range, const Take& take) {
  Bytes bytes(context, range.group);
  std::uint64_t at = 0;
  read_data(bytes, [&](std::string_view data) {
    const std::uint64_t end = range.begin + range.size;
    const std::uint64_t from = std::clamp(range.begin, at, at + data.size());
    const std::uint64_t to = std::clamp(end, from, at + data.size());
    if (from < to) {
      take(data.substr(static_cast<std::size_t>(from - at), static_cast<std::size_t>(to - from)));
    }
    at += data.size();
  });
}

/// What stands before an object's own data.
struct ObjectHeader {
  bool linked = false;
  std::string class_name;
  std::string topic;  ///< of a linked object: its file
  std::size_t size = 0;
  std::uint64_t data_size = 0;
  bool complete = false;
};

ObjectHeader read_header(std::string_view head) {
  constexpr std::uint32_t linked = 1;
  ObjectHeader header;
  header.linked = le32(head, 4) == linked;
  std::size_t at = 8;
  std::array<std::string, 3> names;  // class, topic, item
  for (std::string& name : names) {
    const std::uint32_t length = le32(head, at);
    at += 4;
    if (!has(head, at, length)) return header;
    name = head.substr(at, length);
    name.resize(std::min(name.find('\0'), name.size()));
    at += length;
  }
  header.class_name = std::move(names[0]);
  header.topic = std::move(names[1]);
  header.complete = header.linked || has(head, at, 4);
  header.data_size = le32(head, at);
  header.size = at + 4;
  return header;
}

std::string_view extension_of_class(std::string_view name) {
  struct Row {
    std::string_view start;
    std::string_view extension;
  };
  for (const Row& row : {Row{"Word.Document", ".doc"}, Row{"Excel.", ".xls"},
                         Row{"PowerPoint.", ".ppt"}, Row{"MSPhotoEd", ".bin"}}) {
    if (name.starts_with(row.start)) return row.extension;
  }
  return {};
}

class Collector {
 public:
  Collector(const ReaderContext& context, std::uint64_t begin)
      : context_(context), bytes_(context, begin), files_(std::make_unique<EmbeddedFiles>()) {}

  std::unique_ptr<Subfiles> collect() {
    for (int c = bytes_.get(); c >= 0; c = bytes_.get()) {
      if (c != '\\') continue;
      const Word word = read_word(bytes_);
      if (word.name == "bin") {
        bytes_.copy(word.parameter, [](std::string_view) {});
      } else if (word.name == "nonshppict") {
        skip_group(bytes_);  // the same picture once more
      } else if (word.name == "pict") {
        add_picture();
      } else if (word.name == "objdata") {
        add_object();
      }
    }
    if (files_->count() == 0) return nullptr;
    files_->settle_names(context_.limits);
    return std::move(files_);
  }

 private:
  /// Reads a group's data. @return their size and, in `head_`, their begin
  Range read_group(std::string_view& extension) {
    Range range;
    range.group = bytes_.offset();
    head_.clear();
    extension = read_data(bytes_, [&](std::string_view data) {
      range.size += data.size();
      head_ += data.substr(0, head_size - std::min(head_.size(), head_size));
    });
    context_.limits.check_members(files_->count() + 1);
    return range;
  }

  void add(std::string name, const Range& range) {
    EmbeddedFiles::File file;
    file.name = std::move(name);
    file.size = static_cast<std::int64_t>(range.size);
    files_->add(std::move(file), [context = context_, range](ByteOutput& output) {
      write_range(context, range, [&](std::string_view data) { output.write(data); });
    });
  }

  void add_picture() {
    std::string_view extension;
    const Range range = read_group(extension);
    if (range.size == 0) return;
    if (extension.empty()) extension = media_extension(head_);
    add("picture" + std::to_string(++pictures_) + std::string(extension), range);
  }

  void add_object() {
    std::string_view extension;
    Range range = read_group(extension);
    const ObjectHeader header = read_header(head_);
    if (!header.complete) return;
    if (header.linked) {
      if (!header.topic.empty()) files_->add_external(header.topic);
      return;
    }
    std::string name = "object" + std::to_string(++objects_);
    range.begin = header.size;
    range.size =
        std::min(header.data_size, range.size - std::min<std::uint64_t>(header.size, range.size));
    const std::string_view data =
        std::string_view(head_).substr(std::min(header.size, head_.size()));
    if (const auto package = parse_ole_package(data, range.size)) {
      range.begin += package->offset;
      range.size = package->size;
      add(package->name.empty() ? name : package->name, range);
      return;
    }
    EmbeddedFiles::File file;
    file.name = name;
    const auto object = [context = context_, range] {
      std::string whole;
      write_range(context, range, [&](std::string_view piece) { whole += piece; });
      return whole;
    };
    if (range.size <= most_ole_object_bytes && data.starts_with("\xD0\xCF\x11\xE0") &&
        add_wrapped_file(*files_, context_, file, object)) {
      return;
    }
    extension = extension_of_class(header.class_name);
    if (extension.empty()) extension = media_extension(data);
    if (range.size != 0) add(name + std::string(extension), range);
  }

  const ReaderContext context_;
  Bytes bytes_;
  std::unique_ptr<EmbeddedFiles> files_;
  std::string head_;
  unsigned pictures_ = 0;
  unsigned objects_ = 0;
};

}  // namespace

std::unique_ptr<Subfiles> files(const ReaderContext& context, std::uint64_t begin) {
  return Collector(context, begin).collect();
}

}  // namespace trfilter::rtf
