#include "engine/abi/container.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <utility>
#include <vector>

#include "engine/abi/callback_source.h"
#include "engine/abi/session.h"
#include "engine/core/engine_error.h"

namespace trfilter {
namespace {

/// The host's output stream as a sink of bytes.
class StreamOutput : public ByteOutput {
 public:
  StreamOutput(tag_OutputStream* stream, Session& session) : stream_(stream), session_(&session) {
    if (stream == nullptr || stream->write == nullptr) {
      throw EngineError(Code::invalid_argument, "no output stream");
    }
  }

  void open() {
    if (stream_->create != nullptr && stream_->create(stream_, "") == 0) refuse();
  }
  void write(std::string_view bytes) override {
    session_->charge_members(bytes.size());
    while (!bytes.empty()) {
      const auto wanted = static_cast<std::uint32_t>(std::min(bytes.size(), largest_write));
      const auto* buffer = reinterpret_cast<const unsigned char*>(bytes.data());
      if (stream_->write(stream_, buffer, wanted) != wanted) refuse();
      bytes.remove_prefix(wanted);
    }
  }
  void close() {
    if (stream_->close != nullptr && stream_->close(stream_) == 0) refuse();
  }

 private:
  static constexpr std::size_t largest_write = std::size_t{1} << 30;

  [[noreturn]] static void refuse() {
    throw EngineError(Code::output_failed, "the host does not take the member's bytes");
  }

  tag_OutputStream* stream_;
  Session* session_;
};

template <typename Request>
void check_header(const Request& request) {
  if (request.header != TR_HEADER_WORD(sizeof request)) {
    throw EngineError(Code::invalid_argument, "the request's header word is wrong");
  }
}

/// The first password among the credentials; empty when there is none.
std::string password_of(const tag_TRCredentials* credentials) {
  if (credentials == nullptr || credentials->items == nullptr) return {};
  for (std::uint32_t i = 0; i < credentials->count; ++i) {
    const tag_TRCredential* item = credentials->items[i];
    if (item != nullptr && item->kind == TR_CREDENTIAL_PASSWORD && item->text != nullptr) {
      return item->text;
    }
  }
  return {};
}

}  // namespace

struct Container::MainInfo : OwnedRecord {
  tag_TRMainInfo record{};
};

struct Container::SubfileInfo : OwnedRecord {
  explicit SubfileInfo(Subfile subfile) : subfile_(std::move(subfile)) {
    record.name = subfile_.name.c_str();
    record.type = static_cast<std::uint32_t>(subfile_.kind);
    record.size = subfile_.size;
    record.time = subfile_.time.ticks;
    record.parent = subfile_.parent;
    record.child_count = static_cast<std::int32_t>(subfile_.children.size());
    record.children = subfile_.children.data();
  }
  tag_TRSubfileInfo record{};

 private:
  Subfile subfile_;
};

struct Container::ExtractResult : OwnedRecord {
  explicit ExtractResult(Subfiles::Extraction extraction)
      : location_(std::move(extraction.location)) {
    record.location = location_.c_str();
    record.kind = extraction.external ? TR_EXTRACTED_EXTERNAL : 0;
  }
  tag_TRExtractResult record{};

 private:
  std::string location_;
};

struct Container::MailInfo : OwnedRecord {
  explicit MailInfo(Properties properties) : properties_(std::move(properties)) {
    for (const Properties::Item& item : properties_.items()) add(item);
    record.count = static_cast<std::int32_t>(pointers_.size());
    record.fields = pointers_.data();
  }
  tag_TRMailInfo record{};

 private:
  void add(const Properties::Item& item) {
    tag_TRMailField& field = fields_.emplace_back();
    field.present = 1;
    field.name = item.name.c_str();
    if (const auto* boolean = std::get_if<bool>(&item.value)) {
      field.type = TR_MAIL_BOOLEAN;
      field.value.word = *boolean ? 1 : 0;
    } else if (const auto* integer = std::get_if<std::int32_t>(&item.value)) {
      field.type = TR_MAIL_INT32;
      field.value.word = static_cast<std::uint32_t>(*integer);
    } else if (const auto* number = std::get_if<double>(&item.value)) {
      field.type = TR_MAIL_DOUBLE;
      field.value.pointer = number;
    } else if (const auto* time = std::get_if<FileTime>(&item.value)) {
      field.type = TR_MAIL_FILETIME;
      field.value.pointer = &time->ticks;
    } else {
      field.type = TR_MAIL_TEXT;
      field.value.pointer = std::get<std::string>(item.value).c_str();
    }
    pointers_.push_back(&field);
  }

  Properties properties_;
  std::deque<tag_TRMailField> fields_;
  std::vector<const tag_TRMailField*> pointers_;
};

Container::Container(Session& session, const tag_TROpenRequest& request) : session_(&session) {
  check_header(request);
  if (request.stream == nullptr) throw EngineError(Code::invalid_argument, "no input stream");
  Options options = session.options_for(0);
  if (std::string password = password_of(request.credentials); !password.empty()) {
    options.password = std::move(password);
  }
  session.enter_container();
  try {
    auto source = std::make_unique<CallbackSource>(*request.stream);
    session.add_container_size(source->size());
    opened_ = session.opener().open(std::move(source), options, Purpose::members);
  } catch (const EngineError& error) {
    const bool no_container = error.code() == Code::not_recognized ||
                              error.code() == Code::unsupported_format ||
                              error.code() == Code::empty_file;
    if (!no_container) {
      session.leave_container();
      throw;
    }
  } catch (...) {
    session.leave_container();
    throw;
  }
}

Container::~Container() {
  session_->leave_container();
}

template <typename Owned>
auto* Container::keep(std::unique_ptr<Owned> owned) {
  auto* record = &owned->record;
  records_[record] = std::move(owned);
  return record;
}

std::size_t Container::checked(std::uint32_t index) const {
  if (!opened_ || index >= opened_->member_count()) {
    throw EngineError(Code::invalid_argument, "no member of this index");
  }
  return index;
}

tag_TRMainInfo* Container::main_info() {
  auto owned = std::make_unique<MainInfo>();
  owned->record.subfile_count = opened_ ? static_cast<std::int32_t>(opened_->member_count()) : 0;
  return keep(std::move(owned));
}

tag_TRSubfileInfo* Container::subfile_info(std::uint32_t index) {
  const std::size_t member = checked(index);
  return keep(std::make_unique<SubfileInfo>(opened_->describe(member)));
}

tag_TRMailInfo* Container::mail_info(const tag_TRMailRequest& request) {
  check_header(request);
  const std::size_t member = checked(request.index);
  Properties fields;
  opened_->mail_fields(member, fields);
  return keep(std::make_unique<MailInfo>(std::move(fields)));
}

tag_TRExtractResult* Container::extract(const tag_TRExtractRequest& request) {
  check_header(request);
  const std::size_t index = checked(request.index);
  StreamOutput output(request.output, *session_);
  const bool formatted_mail = (request.options & TR_EXTRACT_FORMATTED_MAIL) != 0;
  output.open();
  auto result = std::make_unique<ExtractResult>(opened_->extract(index, output, formatted_mail));
  output.close();
  return keep(std::move(result));
}

void Container::free_info(const void* info) {
  if (info != nullptr && records_.erase(info) == 0) {
    throw EngineError(Code::invalid_argument, "no record of this container");
  }
}

}  // namespace trfilter
