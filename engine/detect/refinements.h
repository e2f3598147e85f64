#pragma once

#include "engine/core/format.h"
#include "engine/detect/content.h"
#include "engine/detect/text_head.h"

/// The second looks that rows of signatures.def ask for. Each answers the row's format, a sibling
/// of it, or `Format::none` when the content only happens to begin like it; with version and
/// attributes.
namespace trfilter::detection {

/// For signatures that are letters: what follows soon is not text.
Detection refine_binary_begin(Content& content, Format format);

// The families with a directory or a trailer of their own (families.h).
Detection refine_zip(Content& content, Format format);
Detection refine_compound(Content& content, Format format);
Detection refine_pdf(Content& content, Format format);

// Page descriptions.
Detection refine_rtf(Content& content, Format format);
Detection refine_printer_job(Content& content, Format format);
Detection refine_printer_language(Content& content, Format format);
Detection refine_postscript(Content& content, Format format);
Detection refine_framemaker_book(Content& content, Format format);
Detection refine_mif(Content& content, Format format);

// Images and drawings.
Detection refine_bmp(Content& content, Format format);
Detection refine_pcx(Content& content, Format format);
Detection refine_sgi_image(Content& content, Format format);
Detection refine_icon(Content& content, Format format);
Detection refine_gem_image(Content& content, Format format);
Detection refine_portable_anymap(Content& content, Format format);
Detection refine_wmf(Content& content, Format format);
Detection refine_emf(Content& content, Format format);
Detection refine_pict_1(Content& content, Format format);
Detection refine_dwg(Content& content, Format format);
Detection refine_freehand(Content& content, Format format);
Detection refine_cgm(Content& content, Format format);

// Audio and video.
Detection refine_riff(Content& content, Format format);
Detection refine_iff(Content& content, Format format);
Detection refine_id3(Content& content, Format format);
Detection refine_matroska(Content& content, Format format);
Detection refine_mpeg_audio(Content& content, Format format);
Detection refine_ac3(Content& content, Format format);
Detection refine_asf(Content& content, Format format);
Detection refine_media_brand(Content& content, Format format);
Detection refine_quicktime(Content& content, Format format);
Detection refine_transport_stream(Content& content, Format format);
Detection refine_swf(Content& content, Format format);
Detection refine_fli(Content& content, Format format);

// Archives and disks.
Detection refine_rar(Content& content, Format format);
Detection refine_seven_zip(Content& content, Format format);
Detection refine_bzip2(Content& content, Format format);
Detection refine_compress(Content& content, Format format);
Detection refine_arj(Content& content, Format format);
Detection refine_lha(Content& content, Format format);
Detection refine_cpio(Content& content, Format format);
Detection refine_binary_cpio(Content& content, Format format);
Detection refine_arc(Content& content, Format format);
Detection refine_boot_sector(Content& content, Format format);

// Stores and records.
Detection refine_pst(Content& content, Format format);
Detection refine_restricted_message(Content& content, Format format);
Detection refine_edb(Content& content, Format format);
Detection refine_access(Content& content, Format format);
Detection refine_seg_y(Content& content, Format format);
Detection refine_pgp(Content& content, Format format);

// Word processors and spreadsheets.
Detection refine_wordperfect(Content& content, Format format);
Detection refine_word(Content& content, Format format);
Detection refine_write(Content& content, Format format);
Detection refine_works_text(Content& content, Format format);
Detection refine_hwp(Content& content, Format format);
Detection refine_word_pro(Content& content, Format format);
Detection refine_ichitaro(Content& content, Format format);
Detection refine_biff(Content& content, Format format);
Detection refine_lotus(Content& content, Format format);
Detection refine_works_spreadsheet(Content& content, Format format);

// Fonts and programs.
Detection refine_truetype(Content& content, Format format);
Detection refine_program(Content& content, Format format);
Detection refine_elf(Content& content, Format format);
Detection refine_java_class(Content& content, Format format);
Detection refine_coff(Content& content, Format format);
Detection refine_object_module(Content& content, Format format);
Detection refine_object_library(Content& content, Format format);
Detection refine_device_driver(Content& content, Format format);

// Text.
Detection refine_ami_pro(const TextHead& text, Format format);
Detection refine_armored_message(const TextHead& text, Format format);
Detection refine_batch_file(const TextHead& text, Format format);
Detection refine_dxf(const TextHead& text, Format format);
Detection refine_hpgl(const TextHead& text, Format format);
Detection refine_postscript_text(const TextHead& text, Format format);
Detection refine_shar(const TextHead& text, Format format);
Detection refine_sylk(const TextHead& text, Format format);
Detection refine_uuencoded(const TextHead& text, Format format);
Detection refine_xbm(const TextHead& text, Format format);

}  // namespace trfilter::detection
