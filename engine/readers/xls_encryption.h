#pragma once

#include <string>
#include <string_view>

#include "engine/readers/xls_records.h"

namespace trfilter::xls {

/// How the records of an encrypted workbook are decrypted ([MS-XLS] 2.2.10).
/// @param file_pass  the data of the FilePass record ([MS-XLS] 2.4.117)
/// @param version    of the records
/// @param password   UTF-8; empty where the host has given none
/// @throws EngineError code 8 for a password that is missing or wrong
RecordReader::Decryption make_decryption(std::string_view file_pass, unsigned version,
                                         const std::string& password);

}  // namespace trfilter::xls
