#ifndef QUENDRIL_FOUNDATION_EMBEDDED_BUFFEREDFILE_H
#define QUENDRIL_FOUNDATION_EMBEDDED_BUFFEREDFILE_H

#include <sys/types.h>

#include <ctime>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/embedded/Descriptor.h"

// An open file with a window of bytes read ahead and a run of bytes gathered for one write.
//
// Invariants, which together make a read see every earlier write of this object:
//   1. The window never differs from what the file will hold once the gathered bytes are out: a
//      write into its range changes the window too.
//   2. The gathered bytes are one contiguous run; a write anywhere else sends them out first.
//   3. The window is filled only when no gathered byte lies behind the position it is filled from.
//   4. Size() is what the latest contact with the file showed, and never less than the end of the
//      gathered run.
class BufferedFile {
 public:
  BufferedFile() = default;
  BufferedFile(BufferedFile const&) = delete;
  BufferedFile& operator=(BufferedFile const&) = delete;
  ~BufferedFile();

  // Modes as in CTOOFile. Returns 0 or an errno.
  int Open(char const* name, char const* mode);

  // Both return the bytes moved.
  unsigned long Read(void* buffer, unsigned long count);
  unsigned long Write(void const* buffer, unsigned long count);
  // False for a position before the start or beyond what an offset can say, and for an origin that
  // is none.
  bool Seek(long offset, int origin);
  unsigned long Position() const { return static_cast<unsigned long>(m_position); }
  unsigned long Size() const { return static_cast<unsigned long>(m_size); }
  void Truncate();
  void Close();

  // The latest errno that an operation met since this was last asked, 0 for none.
  int TakeError() { return std::exchange(m_error, 0); }

 private:
  unsigned long ReadWindow(unsigned char* to, unsigned long count);
  bool FillWindow();
  unsigned long ReadAt(void* to, unsigned long count);
  void UpdateWindow(unsigned char const* from, unsigned long count);
  bool Gather(unsigned char const* from, unsigned long count);
  bool WriteOut();
  bool WriteAt(void const* from, unsigned long count, off_t offset);
  void Stamp();
  // Where the gathered run ends, 0 when there is none.
  off_t GatheredEnd() const;

  Descriptor m_file;
  bool m_writable = false;
  bool m_changed = false;
  bool m_writeFailed = false;
  int m_error = 0;
  timespec m_stampBefore{};
  off_t m_position = 0;
  off_t m_size = 0;

  std::unique_ptr<unsigned char[]> m_window;
  off_t m_windowStart = 0;
  unsigned long m_windowLength = 0;

  std::vector<unsigned char> m_gathered;
  off_t m_gatheredStart = 0;
};

#endif
