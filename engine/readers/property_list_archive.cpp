// Saved pages in a binary property list ("web archives"): a dictionary of the main resource, of the
// resources that belong to it, and of like dictionaries for the page's frames.

#include "engine/readers/property_list_archive.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/charset/encoding.h"
#include "engine/core/embedded_files.h"
#include "engine/core/engine_error.h"
#include "engine/core/media_extension.h"

namespace trfilter {
namespace {

using Object = PropertyListFile::Object;
using Kind = PropertyListFile::Kind;

/// Bytes that lie in another document.
class ViewSource final : public ByteSource {
 public:
  explicit ViewSource(std::string_view bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  std::size_t read_at(std::uint64_t offset, std::span<char> out) override {
    if (offset >= bytes_.size()) return 0;
    return bytes_.copy(out.data(), out.size(), static_cast<std::size_t>(offset));
  }

 private:
  std::string_view bytes_;
};

struct Resource {
  std::string_view url;
  std::string_view type;
  std::string_view encoding;
  std::string_view data;
};

std::string_view ascii_of(const std::optional<Object>& object) {
  return object && object->kind == Kind::ascii ? object->bytes : std::string_view{};
}

std::optional<Resource> resource_of(const PropertyListFile& file,
                                    const std::optional<Object>& dictionary) {
  if (!dictionary) return std::nullopt;
  const auto data = file.value(*dictionary, "WebResourceData");
  if (!data || data->kind != Kind::data) return std::nullopt;
  return Resource{ascii_of(file.value(*dictionary, "WebResourceURL")),
                  ascii_of(file.value(*dictionary, "WebResourceMIMEType")),
                  ascii_of(file.value(*dictionary, "WebResourceTextEncodingName")), data->bytes};
}

std::string name_of(const Resource& resource, std::size_t number) {
  std::string_view url = resource.url.substr(0, resource.url.find_first_of("?#"));
  const std::size_t host = url.find("://");
  if (host != std::string_view::npos) url.remove_prefix(host + 3);
  const std::size_t slash = url.rfind('/');
  if (slash != std::string_view::npos && slash + 1 < url.size()) {
    return std::string(url.substr(slash + 1));
  }
  const bool page = resource.type == "text/html" || resource.type == "application/xhtml+xml";
  const std::string_view extension =
      page ? ".html" : media_extension(resource.data.substr(0, media_head));
  return "resource" + std::to_string(number) + std::string(extension);
}

/// Goes through archives in archives without recursion.
class Members {
 public:
  Members(const ReaderContext& context, const PropertyListFile& file)
      : context_(&context), file_(&file), files_(std::make_unique<EmbeddedFiles>()) {}

  std::unique_ptr<Subfiles> take() {
    std::vector<Object> archives{file_->at(file_->top())};
    for (std::size_t next = 0; next < archives.size(); ++next) {
      context_->limits.check_time();
      const Object archive = archives[next];
      if (next != 0) add(file_->value(archive, "WebMainResource"));
      for_each(file_->value(archive, "WebSubresources"),
               [&](const Object& resource) { add(resource); });
      for_each(file_->value(archive, "WebSubframeArchives"), [&](const Object& frame) {
        // Archives may hold each other: no file has more than it has objects.
        if (archives.size() < std::min(file_->size(), most_archives)) archives.push_back(frame);
      });
    }
    if (files_->count() == 0) return nullptr;
    files_->settle_names(context_->limits);
    return std::move(files_);
  }

 private:
  static constexpr std::uint64_t most_archives = 10'000;
  static constexpr std::uint64_t most_members = 100'000;

  template <typename Work>
  void for_each(const std::optional<Object>& array, Work work) {
    if (!array || array->kind != Kind::array) return;
    for (std::uint64_t i = 0; i < array->count; ++i) {
      context_->limits.check_time();
      work(file_->at(file_->member(*array, i)));
    }
  }

  void add(const std::optional<Object>& dictionary) {
    const std::optional<Resource> resource = resource_of(*file_, dictionary);
    if (!resource) return;
    if (files_->count() == most_members) {
      throw EngineError(Code::archive_broken, "a saved page has more members than its bound");
    }
    EmbeddedFiles::File member;
    member.name = name_of(*resource, files_->count() + 1);
    member.path = std::string(resource->url);
    member.size = static_cast<std::int64_t>(resource->data.size());
    files_->add(std::move(member),
                [data = resource->data](ByteOutput& output) { output.write(data); });
  }

  const ReaderContext* context_;
  const PropertyListFile* file_;
  std::unique_ptr<EmbeddedFiles> files_;
};

}  // namespace

bool is_web_archive(const PropertyListFile& file) {
  const auto main = file.value(file.at(file.top()), "WebMainResource");
  return main && main->kind == Kind::dictionary;
}

std::unique_ptr<NestedReader> open_main_page(const ReaderContext& context,
                                             const PropertyListFile& file) {
  const auto page = resource_of(file, file.value(file.at(file.top()), "WebMainResource"));
  if (!page) throw EngineError(Code::corrupt, "a saved page has no page");
  Detection detection;
  if (page->type == "text/html") {
    detection.format = Format::html;
  } else if (page->type == "application/xhtml+xml") {
    detection.format = Format::xhtml;
  } else if (page->type.starts_with("text/")) {
    detection.format = Format::text;
  } else {
    return nullptr;
  }
  Options options = context.options;
  if (const Encoding* encoding = encoding_of_label(page->encoding); encoding != nullptr) {
    options.source_encoding = encoding->number;
  }
  return std::make_unique<NestedReader>(
      context, Document(std::make_unique<ViewSource>(page->data), options.temporary_directory),
      detection, options);
}

std::unique_ptr<Subfiles> web_archive_members(const ReaderContext& context,
                                              const PropertyListFile& file) {
  return Members(context, file).take();
}

}  // namespace trfilter
