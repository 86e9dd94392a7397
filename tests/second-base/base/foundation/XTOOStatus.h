#ifndef QUENDRIL_SECOND_BASE_XTOOSTATUS_H
#define QUENDRIL_SECOND_BASE_XTOOSTATUS_H

#include "foundation/CTOOString.h"
#include "foundation/export.h"

class QUENDRIL_EXPORT XTOOMsg {
 public:
  virtual ~XTOOMsg();
};

// The flag is kept and means nothing: no status here ever throws of itself.
class QUENDRIL_EXPORT XTOOStatus : public XTOOMsg {
 public:
  XTOOStatus(int code, bool flag);
  XTOOStatus(int code, char const* text, bool flag);
  XTOOStatus(int code, CTOOString const& text, bool flag);
  XTOOStatus(XTOOStatus const& other);
  ~XTOOStatus() override;
  XTOOStatus& operator=(XTOOStatus const& other);

  virtual bool IsError() const;
  virtual char const* ErrorMessage() const;
  virtual void Clear() const;
  virtual void Raise() const {}

  void SetError(int code) const;
  int Status() const;

 protected:
  mutable bool Flag;
  mutable CTOOString Text;

 private:
  mutable int m_code;
};

class QUENDRIL_EXPORT XTOOFile : public XTOOStatus {
 public:
  explicit XTOOFile(bool flag);
  XTOOFile(XTOOFile const& other);
  ~XTOOFile() override;
  XTOOFile& operator=(XTOOFile const& other);

  bool IsError() const override;
  void Fill(int code, char const* path) const;

  unsigned int Value = 0;
};

#endif
