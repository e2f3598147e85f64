// Filters a document to a text file, as a host that holds the facade.
// usage: filter_document ENGINE_DIRECTORY DOCUMENT

#include <iostream>
#include <memory>

#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  tarnis::CTarnisFilterWrapper engine;
  const auto config = std::make_shared<tarnis::CTarnisConfigWrapper>();
  const auto session = engine.IFCreateSession(argv[1], true, config);
  session->get()->config().header_and_footer(true).timeout(60);

  const auto input = std::make_shared<tarnis::CTarnisInputFileWrapper>(std::string(argv[2]));
  const auto detection = std::make_shared<tarnis::CTarnisDetectionInfoWrapper>(session, input);
  tarnis::CTarnisDocumentProcessor processor(session, input, detection);
  const auto text = processor.IFFilterDocument();
  std::cout << text.string() << '\n';
  std::filesystem::remove(text);
} catch (const tarnis::v1::password_protected_error& error) {
  std::cerr << "A password is needed. " << error.what() << '\n';
  return 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
