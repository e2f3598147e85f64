// Prints a document's properties with their types. usage: print_properties ENGINE_DIRECTORY
// DOCUMENT

#include <iostream>
#include <memory>

#include "api/tarnis_internal.h"
#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  const auto session =
      tarnis::CTarnisFilterWrapper().IFCreateSession(argv[1], true, nullptr)->get();
  tarnis::v1::io::InputFile document(argv[2]);
  const auto properties = tarnis::v1::internal::get_summary_information(
      session->implementation(), tarnis::v1::generic_io::Input(document));
  for (const auto& [name, item] : properties) {
    std::cout << name << " (type " << static_cast<int>(item.type())
              << "): " << item.convert_to_string() << '\n';
  }
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
