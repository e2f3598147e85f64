#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Documents that are long to read, of the formats whose pieces are put together by hand. One
// function a document.

namespace tarnis::options {

constexpr std::size_t megabyte = std::size_t{1} << 20;

/// `text` as often as it takes to reach `size`.
std::string repeated(std::string_view text, std::size_t size);

// Drawings of release 2000.
std::string long_dwg();
std::string dwg_of_long_objects();
std::string dwg_of_attached_data();

// Sections of notes.
std::string long_notes();
std::string notes_of_links();
std::string notes_of_one_list();
std::string notes_of_authors();

// Packages of stories.
std::string long_story();
std::string idml_of_many_stories();
std::string idml_of_many_pages();

// Binary property lists.
std::string long_property_list();
std::string property_list_of_one_text();
std::string web_archive();
std::string web_archive_of_many_files();

// Film.
std::string film_of_many_tags();
std::string film_of_small_elements();
std::string film_of_many_chunks();

// Fonts.
std::string font_of_many_names();
std::string font_of_many_character_maps();

// Pictures.
std::string png_of_a_long_packet();
std::string png_of_many_texts();
std::string tiff_of_a_long_packet();
std::string tiff_of_many_directories();
std::string psd_of_many_resources();

// Compound files.
std::string compound_file_of_many_properties();
std::string compound_file_of_one_text();
std::string compound_file_of_many_storages();
std::string compound_file_of_a_long_file();

// Documents of other office programs.
std::string long_wordperfect();
std::string long_windows_write();
std::string long_pages();
std::string pages_of_page_numbers();
std::string long_visio();

}  // namespace tarnis::options
