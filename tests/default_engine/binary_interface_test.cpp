#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "api/engine_abi.h"

// The default engine at its binary interface: what a host can get wrong has an answer, never a
// crash.

namespace {

class BinaryInterface : public testing::Test {
 protected:
  void SetUp() override {
    library_ = ::dlopen(TARNIS_ENGINE_DIRECTORY "/trfilter.so", RTLD_LAZY);
    ASSERT_NE(library_, nullptr) << ::dlerror();
    get_filter_ =
        reinterpret_cast<tr_get_filter_interface>(::dlsym(library_, TR_FILTER_ENTRY_POINT));
    get_extract_ =
        reinterpret_cast<tr_get_extract_interface>(::dlsym(library_, TR_EXTRACT_ENTRY_POINT));
    ASSERT_NE(get_filter_, nullptr);
    ASSERT_NE(get_extract_, nullptr);
    ASSERT_EQ(get_filter_(&table_, TR_INTERFACE_REVISION), 0);
    context_ =
        slot<tr_initialise>(TR_SLOT_INITIALISE)(nullptr, nullptr, ".", 53, TR_FLAG_IN_PROCESS);
    ASSERT_NE(context_, nullptr);
  }
  void TearDown() override { slot<tr_shut_down>(TR_SLOT_SHUT_DOWN)(context_); }

  template <typename Function>
  Function slot(int number) const {
    return reinterpret_cast<Function>(table_.slots[number]);
  }

  /// A stream record over `bytes_`.
  tag_InputStream stream() {
    tag_InputStream record{};
    record.user_data = this;
    record.first = rewind;
    record.read = read;
    record.seek = seek;
    record.tell = tell;
    record.last = rewind;
    return record;
  }

  static BinaryInterface& of(tag_InputStream* record) {
    return *static_cast<BinaryInterface*>(record->user_data);
  }
  static int rewind(tag_InputStream* record) {
    of(record).position_ = 0;
    return 1;
  }
  static uint32_t read(tag_InputStream* record, unsigned char* buffer, uint32_t count) {
    BinaryInterface& self = of(record);
    const auto copied = self.bytes_.copy(reinterpret_cast<char*>(buffer), count, self.position_);
    self.position_ += copied;
    return static_cast<uint32_t>(copied);
  }
  static int seek(tag_InputStream* record, int64_t offset, int whence) {
    BinaryInterface& self = of(record);
    const int64_t base = whence == 2   ? static_cast<int64_t>(self.bytes_.size())
                         : whence == 1 ? static_cast<int64_t>(self.position_)
                                       : 0;
    self.position_ = static_cast<std::size_t>(base + offset);
    return 1;
  }
  static int64_t tell(tag_InputStream* record) {
    return static_cast<int64_t>(of(record).position_);
  }

  void* library_ = nullptr;
  tr_get_filter_interface get_filter_ = nullptr;
  tr_get_extract_interface get_extract_ = nullptr;
  tag_TRFilterInterface table_{};
  void* context_ = nullptr;
  std::string bytes_ = "text\n";
  std::size_t position_ = 0;
};

TEST_F(BinaryInterface, RefusesAnotherRevisionAndNoTable) {
  tag_TRFilterInterface table{};
  EXPECT_EQ(get_filter_(&table, 7), 34);
  EXPECT_EQ(get_filter_(nullptr, TR_INTERFACE_REVISION), 34);
  EXPECT_EQ(table.slots[0], nullptr);
}

TEST_F(BinaryInterface, FillsEverySlotAndAnswersCode23InTheUnusedOnes) {
  int unused = 0;
  for (int number = 0; number < TR_FILTER_SLOT_COUNT; ++number) {
    ASSERT_NE(table_.slots[number], nullptr) << number;
  }
  for (const int number : {2, 5, 6, 9, 10, 11, 13, 15, 18, 20, 39, 41, 51, 54, 55}) {
    EXPECT_EQ(reinterpret_cast<int (*)(void*)>(table_.slots[number])(context_), 23) << number;
    ++unused;
  }
  EXPECT_EQ(unused, 15);
}

TEST_F(BinaryInterface, AnswersNullPointersWithCode34) {
  tag_InputStream record = stream();
  EXPECT_EQ(slot<tr_shut_down>(TR_SLOT_SHUT_DOWN)(nullptr), 34);
  EXPECT_EQ(slot<tr_open_stream>(TR_SLOT_OPEN_STREAM)(nullptr, &record, 0), nullptr);
  EXPECT_EQ(slot<tr_open_stream>(TR_SLOT_OPEN_STREAM)(context_, nullptr, 0), nullptr);
  EXPECT_EQ(slot<tr_prepare>(TR_SLOT_PREPARE)(context_, nullptr), 34);
  EXPECT_EQ(slot<tr_close_stream>(TR_SLOT_CLOSE_STREAM)(context_, nullptr), 34);
  EXPECT_EQ(slot<tr_release_chunk>(TR_SLOT_RELEASE_CHUNK)(context_, nullptr), 34);
  EXPECT_EQ(slot<tr_get_summary_info>(TR_SLOT_GET_SUMMARY_INFO)(context_, &record, nullptr), 34);
  EXPECT_EQ(slot<tr_detect_format>(TR_SLOT_DETECT_FORMAT)(context_, &record, nullptr), 0);
  EXPECT_EQ(slot<tr_set_option>(TR_SLOT_SET_OPTION)(context_, 3, 1, nullptr), 34)
      << "an option id that does not exist";
}

TEST_F(BinaryInterface, GivesNoChunkBeforeTheStreamIsPrepared) {
  tag_InputStream record = stream();
  void* opened = slot<tr_open_stream>(TR_SLOT_OPEN_STREAM)(context_, &record, 0);
  ASSERT_NE(opened, nullptr);
  tag_TRChunk chunk{};
  EXPECT_EQ(slot<tr_next_chunk>(TR_SLOT_NEXT_CHUNK)(context_, opened, &chunk, 0), 34);
  EXPECT_EQ(slot<tr_close_stream>(TR_SLOT_CLOSE_STREAM)(context_, opened), 0);
}

TEST_F(BinaryInterface, GivesChunksUntilAnEmptyOneAndAgainAfterASecondPrepare) {
  tag_InputStream record = stream();
  void* opened = slot<tr_open_stream>(TR_SLOT_OPEN_STREAM)(context_, &record, 0);
  const auto next = slot<tr_next_chunk>(TR_SLOT_NEXT_CHUNK);
  for (int pass = 0; pass < 2; ++pass) {
    ASSERT_EQ(slot<tr_prepare>(TR_SLOT_PREPARE)(context_, opened), 0);
    tag_TRChunk chunk{};
    ASSERT_EQ(next(context_, opened, &chunk, 0), 0);
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(chunk.bytes), chunk.length), "text\n");
    EXPECT_EQ(slot<tr_release_chunk>(TR_SLOT_RELEASE_CHUNK)(context_, &chunk), 0);
    EXPECT_EQ(chunk.bytes, nullptr);
    ASSERT_EQ(next(context_, opened, &chunk, 0), 0);
    EXPECT_EQ(chunk.length, 0u);
    ASSERT_EQ(next(context_, opened, &chunk, 0), 0);
    EXPECT_EQ(chunk.length, 0u) << "the end stays the end";
  }
  EXPECT_EQ(slot<tr_close_stream>(TR_SLOT_CLOSE_STREAM)(context_, opened), 0);
}

TEST_F(BinaryInterface, GivesPropertiesThatStayUntilTheyAreFreed) {
  bytes_ = "<!DOCTYPE html><html><head><title>A title</title></head><body>x</body></html>";
  tag_InputStream record = stream();
  tag_TRSummaryInfoEx info{};
  ASSERT_EQ(slot<tr_get_summary_info>(TR_SLOT_GET_SUMMARY_INFO)(context_, &record, &info), 0);
  bool found = false;
  for (uint32_t i = 0; i < info.count; ++i) {
    const tag_TRSumInfoElemEx& element = info.elements[i];
    if (std::strcmp(element.name, "Title") != 0) continue;
    found = true;
    EXPECT_EQ(element.present, 1u);
    ASSERT_EQ(element.type, static_cast<uint32_t>(TR_SUMMARY_UTF16_TEXT));
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(element.value.pointer)), u"A title");
  }
  EXPECT_TRUE(found);
  EXPECT_EQ(slot<tr_free_summary_info>(TR_SLOT_FREE_SUMMARY_INFO)(context_, &info), 0);
  EXPECT_EQ(info.elements, nullptr);
  EXPECT_EQ(slot<tr_free_summary_info>(TR_SLOT_FREE_SUMMARY_INFO)(context_, &info), 0)
      << "freeing nothing is no error";
}

TEST_F(BinaryInterface, GivesNoPropertiesForADocumentWithout) {
  tag_InputStream record = stream();
  tag_TRSummaryInfoEx info{};
  ASSERT_EQ(slot<tr_get_summary_info>(TR_SLOT_GET_SUMMARY_INFO)(context_, &record, &info), 0);
  EXPECT_EQ(info.count, 0u);
  EXPECT_EQ(slot<tr_free_summary_info>(TR_SLOT_FREE_SUMMARY_INFO)(context_, &info), 0);
}

/// The extraction interface and one container over `bytes_`.
class ContainerInterface : public BinaryInterface {
 protected:
  void SetUp() override {
    BinaryInterface::SetUp();
    extract_.header = TR_HEADER_WORD(sizeof extract_);
    ASSERT_EQ(get_extract_(context_, &extract_), 0);
    request_.header = TR_HEADER_WORD(sizeof request_);
    request_.stream = &stream_;
  }

  tag_TRExtractInterface extract_{};
  tag_InputStream stream_ = stream();
  tag_TROpenRequest request_{};
};

TEST_F(ContainerInterface, IsRefusedWithoutItsHeaderWord) {
  tag_TRExtractInterface without{};
  EXPECT_EQ(get_extract_(context_, &without), 34);
  EXPECT_EQ(get_extract_(nullptr, &extract_), 34);
  EXPECT_EQ(extract_.header, 0x482F30u);
}

TEST_F(ContainerInterface, OpensWhatIsNoContainerWithZeroMembers) {
  const std::string png("\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1", 24);
  for (const std::string& bytes : {std::string("text\n"), std::string(), png}) {
    bytes_ = bytes;
    void* container = nullptr;
    ASSERT_EQ(extract_.open_file(context_, &request_, &container), 0) << bytes;
    tag_TRMainInfo* info = nullptr;
    ASSERT_EQ(extract_.get_main_file_info(container, &info), 0);
    EXPECT_EQ(info->subfile_count, 0);
    EXPECT_EQ(extract_.free_info(container, info), 0);
    EXPECT_EQ(extract_.free_info(container, info), 34) << "handed back already";
    EXPECT_EQ(extract_.free_info(container, nullptr), 0);
    tag_TRSubfileInfo* member = nullptr;
    EXPECT_EQ(extract_.query_subfile_info(container, 0, &member), 34);
    EXPECT_EQ(member, nullptr);
    EXPECT_EQ(extract_.close_file(container), 0);
  }
}

TEST_F(ContainerInterface, RefusesRequestsWithoutHeaderStreamOrPlace) {
  void* container = this;
  request_.header = 0;
  EXPECT_EQ(extract_.open_file(context_, &request_, &container), 34);
  EXPECT_EQ(container, nullptr);
  request_.header = TR_HEADER_WORD(sizeof request_);
  request_.stream = nullptr;
  EXPECT_EQ(extract_.open_file(context_, &request_, &container), 34);
  EXPECT_EQ(extract_.open_file(context_, &request_, nullptr), 34);
  EXPECT_EQ(extract_.open_file(context_, nullptr, &container), 34);
  EXPECT_EQ(extract_.close_file(nullptr), 34);
}

TEST_F(ContainerInterface, HoldsThirtyTwoContainersOpenAndRefusesTheNextWithCode31) {
  std::vector<void*> open(32);
  for (void*& container : open) {
    ASSERT_EQ(extract_.open_file(context_, &request_, &container), 0);
  }
  void* one_more = nullptr;
  EXPECT_EQ(extract_.open_file(context_, &request_, &one_more), 31);
  EXPECT_EQ(extract_.close_file(open.back()), 0);
  EXPECT_EQ(extract_.open_file(context_, &request_, &open.back()), 0);
  for (void* container : open) EXPECT_EQ(extract_.close_file(container), 0);
}

}  // namespace
