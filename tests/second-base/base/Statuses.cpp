#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "foundation/debug.h"
#include "foundation/SHGetFolderPath.h"
#include "foundation/XTOOStatus.h"

XTOOMsg::~XTOOMsg() = default;

XTOOStatus::XTOOStatus(int code, bool flag) : Flag(flag), m_code(code) {}
XTOOStatus::XTOOStatus(int code, char const* text, bool flag)
    : Flag(flag), Text(text), m_code(code) {}
XTOOStatus::XTOOStatus(int code, CTOOString const& text, bool flag)
    : Flag(flag), Text(text), m_code(code) {}
XTOOStatus::XTOOStatus(XTOOStatus const& other) = default;
XTOOStatus::~XTOOStatus() = default;
XTOOStatus& XTOOStatus::operator=(XTOOStatus const& other) = default;

bool XTOOStatus::IsError() const { return m_code != 0; }
char const* XTOOStatus::ErrorMessage() const { return Text; }
void XTOOStatus::Clear() const { m_code = 0; }
void XTOOStatus::SetError(int code) const { m_code = code; }
int XTOOStatus::Status() const { return m_code; }

XTOOFile::XTOOFile(bool flag) : XTOOStatus(0, flag) {}
XTOOFile::XTOOFile(XTOOFile const& other) = default;
XTOOFile::~XTOOFile() = default;
XTOOFile& XTOOFile::operator=(XTOOFile const& other) = default;

bool XTOOFile::IsError() const { return Status() != 0; }

void XTOOFile::Fill(int code, char const* path) const {
  Text = path;
  SetError(code);
}

int SHGetFolderPath(void* /*window*/, int folder, void* /*token*/, unsigned int /*flags*/,
                    char* path) {
  char const* const there = std::getenv("SECOND_BASE_FOLDER");
  if (folder != 35 || there == nullptr) {
    return 1;
  }
  static_cast<void>(std::snprintf(path, 4096, "%s", there));
  return 0;
}

int dbg_can_log(int /*level*/) { return 1; }

void _debug(char const* function, int level, char const* format, ...) {
  static_cast<void>(std::fprintf(stderr, "%s (%d): ", function, level));
  va_list arguments;
  va_start(arguments, format);
  static_cast<void>(std::vfprintf(stderr, format, arguments));
  va_end(arguments);
}
