// Filters a document that is in memory to text in memory. The text of a large one moves to a
// temporary file by itself. usage: filter_to_memory ENGINE_DIRECTORY DOCUMENT

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  std::ifstream file(argv[2], std::ios::binary);
  tarnis::v1::io::InMemoryFile document(
      std::vector<unsigned char>(std::istreambuf_iterator<char>(file), {}));

  const auto session = tarnis::CTarnisFilterWrapper().IFCreateSession(argv[1], true, nullptr);
  const auto input = std::make_shared<tarnis::CTarnisInputFileWrapper>(document);
  tarnis::CTarnisDocumentProcessor processor(session, input, nullptr);
  const auto text = processor.IFFilterDocumentToBufferStream();
  std::cout.write(text->data(), text->size());
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
