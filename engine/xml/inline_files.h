#pragma once

#include <functional>
#include <memory>

#include "engine/core/reader.h"
#include "engine/xml/xml_parser.h"

namespace trfilter {

/// The files that an XML document holds as base64 text: pictures and objects of flat OpenDocument
/// (office:binary-data), of Word 2003 XML (w:binData), of flat packages of Office 2007 and later
/// (pkg:binaryData) and of FictionBook (binary).
/// @param parse  pushes the whole document through a handler, or up to where its second argument
///               becomes true; called now and again for each extraction
/// @return null when there is none
std::unique_ptr<Subfiles> inline_files(
    std::function<void(XmlHandler& handler, const bool& done)> parse, const ReaderContext& context);

}  // namespace trfilter
