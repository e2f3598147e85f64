#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "tests/api/support.h"

namespace {

using namespace tarnis::v1;
using tarnis::test::Failure;
using tarnis::test::failure_of;

Failure failure_of_status(int status) {
  return failure_of([status] { internal::throw_on_error(status); });
}

TEST(ThrowOnError, ReturnsForStatusZero) {
  EXPECT_NO_THROW(internal::throw_on_error(0));
}

TEST(ThrowOnError, ThrowsFormatNotSupportedForStatus7) {
  const Failure failure = failure_of_status(7);
  EXPECT_EQ(failure.type, "format_not_supported_error");
  EXPECT_EQ(failure.message, "Tarnis error: Operation not supported on files of this format");
  EXPECT_EQ(failure.code, 6);
}

TEST(ThrowOnError, ThrowsPasswordProtectedForStatus8) {
  const Failure failure = failure_of_status(8);
  EXPECT_EQ(failure.type, "password_protected_error");
  EXPECT_EQ(failure.message, "Tarnis error: The file is password protected");
  EXPECT_EQ(failure.code, 6);
}

TEST(ThrowOnError, ThrowsAPlainErrorForStatus33) {
  const Failure failure = failure_of_status(33);
  EXPECT_EQ(failure.type, "tarnis_error");
  EXPECT_EQ(failure.code, 33);
  EXPECT_EQ(failure.message, "Tarnis error 33: The document is password protected");
}

TEST(ThrowOnError, KeepsTheCodeOfEveryOtherKnownStatus) {
  for (int status = 1; status <= 47; ++status) {
    if (status == 7 || status == 8) continue;
    const Failure failure = failure_of_status(status);
    EXPECT_EQ(failure.type, "tarnis_error") << status;
    EXPECT_EQ(failure.code, status);
    const char* const name = error_names[status];
    EXPECT_EQ(failure.message,
              "Tarnis error " + std::to_string(status) + ": " + (name == nullptr ? "" : name));
  }
}

TEST(ThrowOnError, ThrowsTheGeneralErrorAbove47) {
  for (const int status : {48, 49, 255, 65536, 0x7FFFFFFF}) {
    const Failure failure = failure_of_status(status);
    EXPECT_EQ(failure.type, "tarnis_error");
    EXPECT_EQ(failure.code, 6);
    EXPECT_EQ(failure.message, "Tarnis error 6: A general error occured");
  }
}

TEST(ThrowOnError, ThrowsTheGeneralErrorForNegativeStatuses) {
  for (const int status : {-1, -7, -8, -0x7FFFFFFF - 1}) {
    const Failure failure = failure_of_status(status);
    EXPECT_EQ(failure.type, "tarnis_error");
    EXPECT_EQ(failure.code, 6);
    EXPECT_EQ(failure.message, "Tarnis error 6: A general error occured");
  }
}

TEST(TarnisError, HasAGeneralMessageByDefault) {
  const tarnis_error error;
  EXPECT_STREQ(error.what(), "An unknown error occured within Tarnis");
  EXPECT_EQ(error.code(), 6);
}

TEST(TarnisError, KeepsAMessageAsItStands) {
  const tarnis_error error("any text\nat all: 8");
  EXPECT_STREQ(error.what(), "any text\nat all: 8");
  EXPECT_EQ(error.code(), 6);
}

TEST(TarnisError, ComposesTheMessageOfAKnownCode) {
  const tarnis_error error(24);
  EXPECT_STREQ(error.what(), "Tarnis error 24: InputFileNotFound");
  EXPECT_EQ(error.code(), 24);
}

TEST(TarnisError, NamesUnknownCodesUnknownError) {
  EXPECT_STREQ(tarnis_error(99).what(), "Tarnis error 99: UnknownError");
  EXPECT_EQ(tarnis_error(99).code(), 99);
  EXPECT_STREQ(tarnis_error(48).what(), "Tarnis error 48: UnknownError");
  EXPECT_STREQ(tarnis_error(123456).what(), "Tarnis error 123456: UnknownError");
  EXPECT_STREQ(tarnis_error(-5).what(), "Tarnis error -5: UnknownError");
  EXPECT_EQ(tarnis_error(-5).code(), -5);
}

TEST(TarnisError, EndsTheMessageAfterTheColonForTheCodeWithoutAName) {
  EXPECT_EQ(error_names[35], nullptr);
  EXPECT_STREQ(tarnis_error(35).what(), "Tarnis error 35: ");
  EXPECT_EQ(tarnis_error(35).code(), 35);
}

TEST(TarnisError, SubclassesStoreTheDefaultMessageAndCode) {
  const password_protected_error password;
  const format_not_supported_error format;
  const external_subfile_error external("//server/share/file");
  EXPECT_STREQ(password.tarnis_error::what(), "An unknown error occured within Tarnis");
  EXPECT_STREQ(format.tarnis_error::what(), "An unknown error occured within Tarnis");
  EXPECT_STREQ(external.tarnis_error::what(), "An unknown error occured within Tarnis");
  EXPECT_EQ(password.code(), 6);
  EXPECT_EQ(format.code(), 6);
  EXPECT_EQ(external.code(), 6);
}

TEST(ExternalSubfileError, CarriesTheLocation) {
  const external_subfile_error error("//server/share/file");
  EXPECT_EQ(error.location(), "//server/share/file");
  EXPECT_STREQ(error.what(),
               "Tarnis error: Subfile is stored externally and linked to by the document");
}

TEST(TarnisError, CatchesAllFourClasses) {
  EXPECT_THROW(throw tarnis_error(1), tarnis_error);
  EXPECT_THROW(throw password_protected_error(), tarnis_error);
  EXPECT_THROW(throw format_not_supported_error(), tarnis_error);
  EXPECT_THROW(throw external_subfile_error(""), tarnis_error);
  EXPECT_TRUE((std::is_base_of_v<std::exception, tarnis_error>));
}

TEST(TarnisError, CopiesAreIndependent) {
  auto original = std::make_unique<tarnis_error>("a message too long for a short string to hold");
  const tarnis_error copy(*original);
  original.reset();
  EXPECT_STREQ(copy.what(), "a message too long for a short string to hold");
}

TEST(ErrorNames, HasTheSentencesAndIdentifiersOfTheEngine) {
  EXPECT_EQ(std::extent_v<decltype(error_names)>, 48U);
  EXPECT_STREQ(error_names[0], "Success");
  EXPECT_STREQ(error_names[2], "OutOfCore");
  EXPECT_STREQ(error_names[6], "A general error occured");
  EXPECT_STREQ(error_names[8], error_names[33]);
  EXPECT_STREQ(error_names[30], "TRoopLogFailed");
  EXPECT_STREQ(error_names[34], "The Tarnis API was called with invalid arguments");
  EXPECT_STREQ(error_names[43], "The compression method used by the document is not supported");
  EXPECT_STREQ(error_names[47], "TemplateError");
}

TEST(ErrorNames, MatchesItsChecksum) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char* const name : error_names) {
    if (name == nullptr) continue;
    for (std::size_t i = 0; i <= std::strlen(name); ++i) {
      hash = (hash ^ static_cast<unsigned char>(name[i])) * 0x100000001b3;
    }
  }
  EXPECT_EQ(hash, 0xadb71e73ea032e11U);
}

}  // namespace
