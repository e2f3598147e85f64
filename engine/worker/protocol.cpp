#include "engine/worker/protocol.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace trfilter {
namespace {

/// Every setting but those of the host's side. A setting that is added to `Options` does not
/// compile until it has its place here.
template <typename SomeOptions, typename Function>
void for_each_setting(SomeOptions& options, Function function) {
  auto& [header_and_footer, header_and_footer_tags, revision_marks, hidden_text, skip_comments,
         date_time_field_codes, filename_field_code, soft_hyphens, skip_thumbnail,
         skip_embedded_fonts, custom_pdf_metadata, tagged_pdf_content, pdf_reading, byte_order_mark,
         no_encoding_conversion, detect_character_set, source_encoding, source_encoding_overrides,
         target_encoding, password, temporary_directory, timeout_seconds,
         extraction_timeout_seconds, worker_log, worker_memory_log] = options;
  for (auto* flag :
       {&header_and_footer, &header_and_footer_tags, &revision_marks, &hidden_text, &skip_comments,
        &date_time_field_codes, &filename_field_code, &soft_hyphens, &skip_thumbnail,
        &skip_embedded_fonts, &custom_pdf_metadata, &tagged_pdf_content, &byte_order_mark,
        &no_encoding_conversion, &detect_character_set, &source_encoding_overrides}) {
    function(*flag);
  }
  function(pdf_reading);
  function(source_encoding);
  function(target_encoding);
  function(password);
  function(timeout_seconds);
  function(extraction_timeout_seconds);
}

struct SettingWriter {
  FieldWriter* out;

  void operator()(bool flag) const { out->number<std::uint8_t>(flag ? 1 : 0); }
  void operator()(PdfReading reading) const { out->number(static_cast<std::uint32_t>(reading)); }
  void operator()(std::uint32_t number) const { out->number(number); }
  void operator()(std::int64_t number) const { out->number(number); }
  void operator()(const std::string& text) const { out->text(text); }
};

struct SettingReader {
  FieldReader* in;

  void operator()(bool& flag) const { flag = in->boolean(); }
  void operator()(PdfReading& reading) const {
    reading = static_cast<PdfReading>(in->number<std::uint32_t>());
  }
  void operator()(std::uint32_t& number) const { number = in->number<std::uint32_t>(); }
  void operator()(std::int64_t& number) const { number = in->number<std::int64_t>(); }
  void operator()(std::string& text) const { text = in->text(); }
};

struct ValueWriter {
  FieldWriter* out;

  void operator()(bool value) const { out->number<std::uint8_t>(value ? 1 : 0); }
  void operator()(std::int32_t value) const { out->number(value); }
  void operator()(double value) const { out->number(value); }
  void operator()(const std::string& value) const { out->text(value); }
  void operator()(FileTime value) const { out->number(value.ticks); }
};

PropertyValue read_value(FieldReader& in) {
  switch (in.number<std::uint8_t>()) {
    case 0:
      return in.boolean();
    case 1:
      return in.number<std::int32_t>();
    case 2:
      return in.number<double>();
    case 3:
      return in.text();
    case 4:
      return FileTime{in.number<std::int64_t>()};
    default:
      protocol_broken("a property of no known type");
  }
}

Format format_of(std::uint32_t number) {
  constexpr std::uint32_t numbers[] = {
      0,
#define FORMAT(number, name, category) number,
#include "engine/core/formats.def"
#include "engine/core/unnumbered_formats.def"
#undef FORMAT
  };
  if (std::find(std::begin(numbers), std::end(numbers), number) == std::end(numbers)) {
    protocol_broken("a format that is none");
  }
  return static_cast<Format>(number);
}

SubfileKind kind_of(std::uint32_t number) {
  switch (static_cast<SubfileKind>(number)) {
    case SubfileKind::file:
    case SubfileKind::message:
    case SubfileKind::attachment:
    case SubfileKind::folder:
    case SubfileKind::embedded:
    case SubfileKind::contact:
    case SubfileKind::appointment:
    case SubfileKind::task:
    case SubfileKind::note:
    case SubfileKind::journal_entry:
      return static_cast<SubfileKind>(number);
  }
  protocol_broken("a member of no known kind");
}

}  // namespace

Code code_of_number(std::int32_t number) {
  constexpr std::int32_t last_code = 47;
  if (number < 1 || number > last_code) protocol_broken("a code that is none");
  return static_cast<Code>(number);
}

void protocol_broken(const std::string& how) {
  throw EngineError(Code::worker_pipe_broken, how);
}

bool FieldReader::boolean() {
  const auto byte = number<std::uint8_t>();
  if (byte > 1) protocol_broken("neither true nor false");
  return byte == 1;
}

std::size_t FieldReader::count(std::size_t least_size) {
  const auto count = number<std::uint64_t>();
  if (count > bytes_.size() / least_size) protocol_broken("more things than there is room for");
  return static_cast<std::size_t>(count);
}

void FieldReader::finish() const {
  if (!bytes_.empty()) protocol_broken("a payload is longer than what it holds");
}

std::string_view FieldReader::take(std::uint64_t count) {
  if (count > bytes_.size()) protocol_broken("a payload is shorter than what it holds");
  const std::string_view taken = bytes_.substr(0, static_cast<std::size_t>(count));
  bytes_.remove_prefix(taken.size());
  return taken;
}

void write_fields(FieldWriter& out, const Greeting& greeting) {
  out.number(greeting.signature);
  out.number(greeting.version);
  out.text(greeting.text);
}

void read_fields(FieldReader& in, Greeting& greeting) {
  greeting.signature = in.number<std::uint64_t>();
  greeting.version = in.number<std::uint32_t>();
  greeting.text = in.text();
}

void write_fields(FieldWriter& out, const OpenRequest& request) {
  for_each_setting(request.options, SettingWriter{&out});
  out.number(static_cast<std::uint32_t>(request.purpose));
  out.number(request.size);
  out.number(static_cast<std::uint32_t>(request.place));
}

void read_fields(FieldReader& in, OpenRequest& request) {
  for_each_setting(request.options, SettingReader{&in});
  const auto purpose = in.number<std::uint32_t>();
  if (purpose > static_cast<std::uint32_t>(Purpose::members)) protocol_broken("no known purpose");
  request.purpose = static_cast<Purpose>(purpose);
  request.size = in.number<std::uint64_t>();
  const auto place = in.number<std::uint32_t>();
  if (place >= window_places) protocol_broken("no place in the window");
  request.place = static_cast<Place>(place);
}

void write_fields(FieldWriter& out, const OpenedReply& reply) {
  out.number(host_number(reply.format));
  out.number(reply.members);
  out.text(reply.text);
  out.number<std::uint8_t>(reply.ended ? 1 : 0);
  out.number(reply.code);
}

void read_fields(FieldReader& in, OpenedReply& reply) {
  reply.format = format_of(in.number<std::uint32_t>());
  reply.members = in.number<std::uint64_t>();
  reply.text = in.text();
  reply.ended = in.boolean();
  reply.code = in.number<std::int32_t>();
  if (reply.code == 0) return;
  code_of_number(reply.code);
  if (!reply.ended) protocol_broken("an error that ends nothing");
}

void write_fields(FieldWriter& out, const BlockRequest& request) {
  out.number(request.offset);
  out.number(request.count);
}

void read_fields(FieldReader& in, BlockRequest& request) {
  request.offset = in.number<std::uint64_t>();
  request.count = in.number<std::uint32_t>();
}

void write_fields(FieldWriter& out, const BlockReply& reply) {
  out.number(reply.code);
  out.number(reply.count);
  out.number(reply.block);
}

void read_fields(FieldReader& in, BlockReply& reply) {
  reply.code = in.number<std::int32_t>();
  reply.count = in.number<std::uint32_t>();
  reply.block = in.number<std::uint32_t>();
}

void write_fields(FieldWriter& out, const TextRequest& request) {
  out.number(request.pieces);
}

void read_fields(FieldReader& in, TextRequest& request) {
  request.pieces = in.number<std::uint32_t>();
}

void write_fields(FieldWriter& out, const TextEnd& end) {
  out.number<std::uint8_t>(end.ended ? 1 : 0);
}

void read_fields(FieldReader& in, TextEnd& end) {
  end.ended = in.boolean();
}

void write_fields(FieldWriter& out, const MemberRequest& request) {
  out.number(request.index);
  out.number(request.count);
  out.number<std::uint8_t>(request.formatted_mail ? 1 : 0);
}

void read_fields(FieldReader& in, MemberRequest& request) {
  request.index = in.number<std::uint64_t>();
  request.count = in.number<std::uint32_t>();
  request.formatted_mail = in.boolean();
}

void write_fields(FieldWriter& out, const Detection& detection) {
  out.number(host_number(detection.format));
  out.number(static_cast<std::uint32_t>(detection.category));
  out.number(detection.version);
  out.number(detection.attributes);
}

void read_fields(FieldReader& in, Detection& detection) {
  detection.format = format_of(in.number<std::uint32_t>());
  const auto category = in.number<std::uint32_t>();
  if (category > static_cast<std::uint32_t>(Category::animation)) {
    protocol_broken("a category that is none");
  }
  detection.category = static_cast<Category>(category);
  detection.version = in.number<std::uint64_t>();
  detection.attributes = in.number<std::uint64_t>();
}

void write_fields(FieldWriter& out, const Properties& properties) {
  out.number<std::uint64_t>(properties.items().size());
  for (const Properties::Item& item : properties.items()) {
    out.text(item.name);
    out.number(static_cast<std::uint8_t>(item.value.index()));
    std::visit(ValueWriter{&out}, item.value);
  }
}

void read_fields(FieldReader& in, Properties& properties) {
  // A length, a type and a byte of a value at the least.
  for (std::size_t left = in.count(sizeof(std::uint64_t) + 2); left > 0; --left) {
    std::string name = in.text();
    properties.add(std::move(name), read_value(in));
  }
}

void write_fields(FieldWriter& out, const Subfile& subfile) {
  out.text(subfile.name);
  out.number(static_cast<std::uint32_t>(subfile.kind));
  out.number(subfile.size);
  out.number(subfile.time.ticks);
  out.number(subfile.parent);
  out.number<std::uint64_t>(subfile.children.size());
  for (const std::int32_t child : subfile.children) out.number(child);
}

void read_fields(FieldReader& in, Subfile& subfile) {
  subfile.name = in.text();
  subfile.kind = kind_of(in.number<std::uint32_t>());
  subfile.size = in.number<std::int64_t>();
  subfile.time.ticks = in.number<std::int64_t>();
  subfile.parent = in.number<std::int32_t>();
  subfile.children.resize(in.count(sizeof(std::int32_t)));
  for (std::int32_t& child : subfile.children) child = in.number<std::int32_t>();
}

void write_fields(FieldWriter& out, const MemberList& list) {
  out.number<std::uint64_t>(list.members.size());
  for (const Subfile& subfile : list.members) write_fields(out, subfile);
}

void read_fields(FieldReader& in, MemberList& list) {
  // What a member without name and children takes.
  static const std::size_t least = payload_of(Subfile{}).size();
  list.members.resize(in.count(least));
  for (Subfile& subfile : list.members) read_fields(in, subfile);
}

void write_fields(FieldWriter& out, const Subfiles::Extraction& extraction) {
  out.number<std::uint8_t>(extraction.external ? 1 : 0);
  out.text(extraction.location);
}

void read_fields(FieldReader& in, Subfiles::Extraction& extraction) {
  extraction.external = in.boolean();
  extraction.location = in.text();
}

}  // namespace trfilter
