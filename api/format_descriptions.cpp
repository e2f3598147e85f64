#include "api/format_descriptions.h"

namespace tarnis::v1 {

// The two arrays share a file so that their construction has an order: categories, then formats.

const std::array<std::string, 22> category_strings = {
    "No Format Found",
    "Word Processor",
    "Spreadsheet",
    "Database",
    "Raster Image",
    "Vector Graphic",
    "Presentation",
    "Executable",
    "Encapsulation",
    "Audio",
    "Desktop Publishing",
    "Planning/Outline",
    "General Purpose",
    "Mixed",
    "Font",
    "Scheduling/Planning",
    "Communications",
    "Object Module",
    "Library",
    "FAX",
    "Movie",
    "Animation",
};

// The last row, 480, has no text.
const std::array<format_description, 481> format_descriptions = {{
#include "api/format_descriptions.inc"
}};

}  // namespace tarnis::v1
