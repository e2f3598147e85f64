#include "api/container_implementation.h"

#include "api/engine_call.h"
#include "api/error.h"
#include "api/session_implementation.h"
#include "api/stream_bridge.h"
#include "api/throw_on_error.h"

namespace tarnis::v1::internal {

namespace {

/// Widens the indices of a record's children.
std::vector<long> children_of(const tag_TRSubfileInfo& record) {
  // A negative number becomes one that no vector can hold, and is refused as such.
  const auto count = static_cast<std::size_t>(record.child_count);
  if (record.child_count > 0 && record.children == nullptr) return {};
  std::vector<long> children(count);
  for (std::size_t i = 0; i < count; ++i) children[i] = record.children[i];
  return children;
}

/// A record of the engine's that goes back at the end of its scope.
class ScopedInfo {
 public:
  ScopedInfo(const SessionImplementation& session, void* container, void* record)
      : session_(session), container_(container), record_(record) {}
  ~ScopedInfo() {
    notify_extraction(session_, &tag_TRExtractInterface::free_info, container_, record_);
  }
  ScopedInfo(const ScopedInfo&) = delete;
  ScopedInfo& operator=(const ScopedInfo&) = delete;

 private:
  const SessionImplementation& session_;
  void* container_;
  void* record_;
};

}  // namespace

ContainerImplementation::ContainerImplementation(const generic_io::Input& input,
                                                 const SessionImplementation& session)
    : input_(input), stream_(make_input_stream(input_)), session_(&session) {}

void ContainerImplementation::open_container() const {
  if (handle_ != nullptr) return;
  tag_TRCredential password{};
  password.kind = TR_CREDENTIAL_PASSWORD;
  password.text = session_->config().password().c_str();
  const tag_TRCredential* const items[] = {&password};
  tag_TRCredentials credentials{};
  credentials.count = 1;
  credentials.items = items;
  tag_TROpenRequest request{};
  request.header = TR_HEADER_WORD(sizeof(request));
  request.credentials = &credentials;
  request.stream = &stream_;
  throw_on_error(call_extraction(*session_, &tag_TRExtractInterface::open_file, session_->pFilter(),
                                 &request, &handle_));
  // An engine that succeeds without a container has none to ask: it is an empty one.
  if (handle_ == nullptr) return;
  tag_TRMainInfo* info = nullptr;
  throw_on_error(
      call_extraction(*session_, &tag_TRExtractInterface::get_main_file_info, handle_, &info));
  if (info == nullptr) return;
  count_ = info->subfile_count;
  throw_on_error(call_extraction(*session_, &tag_TRExtractInterface::free_info, handle_, info));
}

void ContainerImplementation::close_container() const noexcept {
  if (handle_ == nullptr) return;
  notify_extraction(*session_, &tag_TRExtractInterface::close_file, handle_);
}

SubfileInfo ContainerImplementation::get_subfile_info(long index) const {
  tag_TRSubfileInfo* record = nullptr;
  throw_on_error(call_extraction(*session_, &tag_TRExtractInterface::query_subfile_info, handle_,
                                 static_cast<std::uint32_t>(index), &record));
  if (record == nullptr) return {};
  const ScopedInfo scoped(*session_, handle_, record);
  SubfileInfo info;
  info.name = std::string(record->name);
  info.type = record->type;
  info.size = record->size;
  info.attr2 = record->attribute_2;
  info.attr3 = record->attribute_3;
  info.time = record->time;
  info.is_folder = record->type == TR_SUBFILE_FOLDER;
  info.parent = record->parent;
  info.children = children_of(*record);
  return info;
}

void ContainerImplementation::extract(long index, const generic_io::Output& output) const {
  tag_OutputStream stream = make_output_stream(output);
  tag_TRExtractRequest request{};
  request.header = TR_HEADER_WORD(sizeof(request));
  request.index = static_cast<std::uint32_t>(index);
  request.options = session_->config().formatted_mail() ? TR_EXTRACT_FORMATTED_MAIL : 0;
  request.output = &stream;
  tag_TRExtractResult* result = nullptr;
  const int status = call_extraction(*session_, &tag_TRExtractInterface::extract_subfile, handle_,
                                     &request, &result);
  // The result goes back before its status is raised, also when there is none.
  const bool is_external =
      status == 0 && result != nullptr && result->kind == TR_EXTRACTED_EXTERNAL;
  const std::string location = is_external ? std::string(result->location) : std::string();
  notify_extraction(*session_, &tag_TRExtractInterface::free_info, handle_, result);
  throw_on_error(status);
  if (is_external) throw external_subfile_error(location);
}

void SubfileImplementation::fetch_info() const {
  if (fetched_) return;
  info_ = container_->get_subfile_info(index_);
  fetched_ = true;
}

Container subfiles(const SessionImplementation* session, const generic_io::Input& input) {
  return Container(input, *session);
}

void extract(const SubfileImplementation* subfile, const generic_io::Output& output) {
  subfile->container()->extract(subfile->index(), output);
}

}  // namespace tarnis::v1::internal
