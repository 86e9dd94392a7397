#ifndef QUENDRIL_RECORDSTORE_SCANAGAIN_H
#define QUENDRIL_RECORDSTORE_SCANAGAIN_H

#include <exception>

#include "foundation/CTOODateTime.h"

// An operation that an exception ends may leave a mirror that the file does not have: offsets that
// are already changed, or half of them. Without a load time the next operation scans the file again
// before it trusts them.
class ScanAgainAfterException {
 public:
  explicit ScanAgainAfterException(CTOOFileTime& loadTime) : m_loadTime(loadTime) {}
  ScanAgainAfterException(ScanAgainAfterException const&) = delete;
  ScanAgainAfterException& operator=(ScanAgainAfterException const&) = delete;
  ~ScanAgainAfterException() {
    if (std::uncaught_exceptions() > m_exceptions) {
      m_loadTime = CTOOFileTime();
    }
  }

 private:
  CTOOFileTime& m_loadTime;
  int const m_exceptions = std::uncaught_exceptions();
};

#endif
