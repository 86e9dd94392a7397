#include "foundation/XTOOStatus.h"

XTOOMsg::~XTOOMsg() = default;

XTOOStatus::XTOOStatus(int code, bool flag) : Code(code), Flag(flag) {}

XTOOStatus::XTOOStatus(int code, char const* text, bool flag)
    : Code(code), Text(text), Flag(flag) {}

XTOOStatus::XTOOStatus(int code, CTOOString const& text, bool flag)
    : Code(code), Text(text), Flag(flag) {}

XTOOStatus::XTOOStatus(XTOOStatus const& other) = default;

XTOOStatus::~XTOOStatus() = default;

XTOOStatus& XTOOStatus::operator=(XTOOStatus const& other) = default;

bool XTOOStatus::IsError() const { return Code != 0; }

char const* XTOOStatus::ErrorMessage() const { return Text; }

void XTOOStatus::Clear() const { Code = 0; }

int XTOOStatus::SetError(int code) const {
  Code = code;
  if (code != 0 && Flag) {
    Raise();
  }
  return code;
}

int XTOOStatus::Status() const { return Code; }

XTOOFile::XTOOFile(bool flag) : XTOOStatus(0, flag) {}

XTOOFile::XTOOFile(XTOOFile const& other) = default;

XTOOFile::~XTOOFile() = default;

XTOOFile& XTOOFile::operator=(XTOOFile const& other) = default;

bool XTOOFile::IsError() const { return Status() != 0; }

void XTOOFile::Raise() const {
  XTOOFile raised(*this);
  raised.Flag = false;
  throw XTOOFile(raised);
}

void XTOOFile::Fail(int code, char const* path) const {
  Text = path;
  SetError(code);
}
