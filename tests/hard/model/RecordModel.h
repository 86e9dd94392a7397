#ifndef QUENDRIL_TESTS_HARD_MODEL_RECORDMODEL_H
#define QUENDRIL_TESTS_HARD_MODEL_RECORDMODEL_H

#include <cstddef>
#include <deque>
#include <list>
#include <string>
#include <vector>

// What a record file must hold after each operation of a store that may create it, and what the
// operation must answer: a vector of records, and the header twice, as the file has it and as the
// store remembers it.
class RecordModel {
 public:
  // A new file with these records.
  RecordModel(std::string const& header, std::vector<std::string> records);

  // The file's bytes; none when it is empty, which counts as no file.
  std::string Bytes() const;
  std::list<unsigned int> Offsets() const;
  std::vector<std::string> const& Records() const { return m_records; }
  bool IsFile() const { return m_isFile; }
  // How many records were lost because they were overwritten before they were read.
  unsigned int Overrun() const { return m_overrun; }

  unsigned int Get(long index, std::string& out);
  unsigned int Put(long index, std::string const& data);
  void Add(std::string const& data);
  void PutList(std::vector<std::string> const& records);
  unsigned int Del(long index);
  void EmptyFile();
  // The header that is really asked for: without records no more than there is room for.
  std::string HeaderToPut(std::string const& header) const;
  void PutHeader(std::string const& header);
  unsigned int GetAll(std::vector<std::string>& out);
  void Reload();
  std::string GetHeader();

 private:
  struct Header {
    unsigned int reserved = 0;
    unsigned int mark = 0;
    std::string text;
  };

  void Scan();
  void Append(std::string const& data);
  std::string ReadAt(std::string const& bytes, std::size_t position) const;
  void MoveBehind(std::string const& header);
  void Shift(std::string bytes, std::deque<std::string> pending, std::size_t position,
             std::size_t current, std::size_t next);

  bool m_isFile = true;
  std::vector<std::string> m_records;
  Header m_file;
  Header m_remembered;
  unsigned int m_overrun = 0;
};

#endif
