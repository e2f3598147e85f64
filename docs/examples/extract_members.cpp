// Writes a container's members to a new directory, and the text of all of them to one file.
// usage: extract_members ENGINE_DIRECTORY DOCUMENT

#include <iostream>
#include <memory>

#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  const auto session = tarnis::CTarnisFilterWrapper().IFCreateSession(argv[1], true, nullptr);
  const auto input = std::make_shared<tarnis::CTarnisInputFileWrapper>(std::string(argv[2]));
  tarnis::CTarnisDocumentProcessor processor(session, input, nullptr);
  // Members that fail are told on standard error, and the others follow.
  const auto directory = processor.IFExtract();
  const auto text = processor.IFFilterContainer();
  std::cout << "members: " << directory.string() << "\ntext: " << text.string() << '\n';
  std::filesystem::remove_all(directory);
  std::filesystem::remove(text);
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
