// Office Open XML documents under a password: a compound file with the streams EncryptionInfo and
// EncryptedPackage ([MS-OFFCRYPTO] 2.3.4), standard and agile encryption with AES.
//
// The package is decrypted as it is read, a segment at a time, and read by the reader of what it
// turns out to be: text, properties and members are that reader's. The password that Excel itself
// takes for workbooks without one is tried when the host gives none.
//
// Not handled: rights management, encryption by certificates alone, and ciphers other than AES:
// code 8. The keyed hash of the whole package is not computed; the package has checksums of its
// own.
//
// Bounds: 1 MiB of EncryptionInfo, one segment of 4 KiB and the cache of the document.

#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "engine/compound/compound_file.h"
#include "engine/compound/stream_source.h"
#include "engine/core/nested_reader.h"
#include "engine/core/reader.h"
#include "engine/detect/detect.h"
#include "engine/office_crypt/package_cipher.h"

namespace trfilter {
namespace {

constexpr std::uint64_t most_info_bytes = std::uint64_t{1} << 20;

bool is_zip(Document& document) {
  std::array<char, 2> begin{};
  return document.read_at(0, begin) == begin.size() && begin[0] == 'P' && begin[1] == 'K';
}

class EncryptedOfficeReader final : public Reader {
 public:
  explicit EncryptedOfficeReader(const ReaderContext& context) {
    if (is_zip(context.document)) {
      throw EngineError(Code::unsupported_format, "the package has no known main part");
    }
    file_.emplace(context.document, context.limits);
    const auto info = file_->find("EncryptionInfo");
    const auto package = file_->find("EncryptedPackage");
    if (!package) throw EngineError(Code::corrupt, "there is no encrypted package");
    if (!info)
      throw EngineError(Code::password_protected, "the document is under rights management");
    const Options& options = context.options;
    const std::string_view password =
        options.password.empty() ? PackageCipher::default_password : options.password;
    PackageCipher cipher(file_->read(*info, most_info_bytes), password, context.limits);
    Document document(std::make_unique<DecryptedPackage>(
                          std::make_unique<StreamSource>(file_->open(*package)), std::move(cipher)),
                      options.temporary_directory);
    if (!is_zip(document)) throw EngineError(Code::corrupt, "what is encrypted is no package");
    const Detection detection = detect(document, nullptr);
    package_.emplace(context, std::move(document), detection, options);
  }

  bool step(TextSink& sink) override { return package_->step(sink); }
  void properties(Properties& properties) override { package_->reader().properties(properties); }
  std::unique_ptr<Subfiles> subfiles() override { return package_->reader().subfiles(); }

 private:
  std::optional<CompoundFile> file_;
  std::optional<NestedReader> package_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(encrypted_office, trfilter::EncryptedOfficeReader)
