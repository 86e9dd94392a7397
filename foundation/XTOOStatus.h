#ifndef QUENDRIL_FOUNDATION_XTOOSTATUS_H
#define QUENDRIL_FOUNDATION_XTOOSTATUS_H

#include "foundation/CTOOString.h"
#include "foundation/export.h"

// The root of the status objects. It declares nothing but its destructor: any other virtual
// operation would shift the slots of everything that derives from XTOOStatus.
class QUENDRIL_EXPORT XTOOMsg {
 public:
  XTOOMsg() = default;
  XTOOMsg(XTOOMsg const&) = default;
  XTOOMsg& operator=(XTOOMsg const&) = default;
  virtual ~XTOOMsg();
};

// A status: a code (0 = no error), a message text and a flag that says whether a failure set on the
// object is raised. It is thrown by value, always with the flag false, and it is the base of record
// stores and file handles, which report their failures by it.
//
// The const operations change the status: it says how an operation ended, not what the object
// holds. Threads: one object, one thread at a time.
class QUENDRIL_EXPORT XTOOStatus : public XTOOMsg {
 public:
  XTOOStatus(int code, bool flag);
  XTOOStatus(int code, char const* text, bool flag);
  XTOOStatus(int code, CTOOString const& text, bool flag);
  XTOOStatus(XTOOStatus const& other);
  ~XTOOStatus() override;

  XTOOStatus& operator=(XTOOStatus const& other);

  // Order is ABI.
  virtual bool IsError() const;
  virtual char const* ErrorMessage() const;
  // Resets the code to 0; the text stays.
  virtual void Clear() const;
  // Called by SetError for a code other than 0 when the flag is true. Does nothing here, so a
  // record store never throws from SetError, whatever its flag.
  virtual void Raise() const {}

  // Stores the code and returns it; the text stays.
  int SetError(int code) const;
  int Status() const;

 protected:
  mutable int Code;
  mutable CTOOString Text;
  mutable bool Flag;
};

// The status of one file utility call. Made with the flag true, it turns a failure into an
// exception: a copy of itself with the flag false. Made with the flag false it is only filled.
class QUENDRIL_EXPORT XTOOFile : public XTOOStatus {
 public:
  explicit XTOOFile(bool flag);
  XTOOFile(XTOOFile const& other);
  ~XTOOFile() override;

  XTOOFile& operator=(XTOOFile const& other);

  bool IsError() const override;
  void Raise() const override;

  // Sets the text to `path`, then the code as SetError does. Throws an XTOOFile when the flag is
  // true.
  void Fail(int code, char const* path) const;

  // Free for the base library's own use; this one leaves it 0. Copied along.
  unsigned int Value = 0;
};

#endif
