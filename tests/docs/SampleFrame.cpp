// Runs the sample whose number is given, with the machine-wide catalogue in a folder of its own.

#include "tests/docs/SampleFrame.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "foundation/SHGetFolderPath.h"

int SHGetFolderPath(void* /*window*/, int /*folder*/, void* /*token*/, unsigned int /*flags*/,
                    char* path) {
  std::string const folder = std::filesystem::current_path() / "common";
  std::memcpy(path, folder.c_str(), folder.size() + 1);
  return 0;
}

int main(int /*count*/, char** arguments) {
  try {
    kSamples[std::atoi(arguments[1])]();
    return 0;
  } catch (XTOOStatus const& failure) {
    std::printf("threw %s (status %d)\n", failure.ErrorMessage(), failure.Status());
  } catch (std::exception const& failure) {
    std::printf("threw %s\n", failure.what());
  }
  return 1;
}
