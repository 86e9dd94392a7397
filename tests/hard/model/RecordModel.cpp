#include "tests/hard/model/RecordModel.h"

#include <algorithm>
#include <utility>

#include "tests/support/Bytes.h"

namespace {

constexpr std::size_t kWordsSize = 12;
constexpr std::size_t kPrefixSize = 4;

void Overwrite(std::string& bytes, std::size_t position, std::string const& with) {
  bytes.resize(std::max(bytes.size(), position + with.size()));
  bytes.replace(position, with.size(), with);
}

}  // namespace

RecordModel::RecordModel(std::string const& header, std::vector<std::string> records)
    : m_records(std::move(records)), m_file{1, 2, header}, m_remembered{m_file} {}

std::string RecordModel::Bytes() const {
  return m_isFile ? RecordFile(m_file.reserved, m_file.mark, m_file.text,
                               {m_records.begin(), m_records.end()})
                  : std::string();
}

std::list<unsigned int> RecordModel::Offsets() const {
  std::list<unsigned int> offsets;
  std::size_t position = kWordsSize + m_file.text.size();
  for (std::string const& record : m_records) {
    offsets.push_back(static_cast<unsigned int>(position));
    position += kPrefixSize + record.size();
  }
  return offsets;
}

// What a store remembers of a file that it scans. An empty header is not taken over, nor anything
// where there is no file.
void RecordModel::Scan() {
  if (m_isFile) {
    m_remembered.reserved = m_file.reserved;
    m_remembered.mark = m_file.mark;
    m_remembered.text = m_file.text.empty() ? m_remembered.text : m_file.text;
  }
}

void RecordModel::Append(std::string const& data) {
  if (!m_isFile) {
    m_file = m_remembered;
    m_isFile = true;
  }
  m_records.push_back(data);
}

unsigned int RecordModel::Get(long index, std::string& out) {
  Scan();
  if (index < 0 || static_cast<std::size_t>(index) >= m_records.size()) {
    return 194;
  }
  out = m_records[static_cast<std::size_t>(index)];
  return 0;
}

unsigned int RecordModel::Put(long index, std::string const& data) {
  Scan();
  long const count = static_cast<long>(m_records.size());
  if (index > count) {
    return 28;
  }
  if (index < 0 || index == count) {
    Append(data);
    return 0;
  }
  auto const number = static_cast<std::size_t>(index);
  std::size_t const position = *std::next(Offsets().begin(), index);
  Shift(Bytes(), {data}, position, number, number + 1);
  return 0;
}

void RecordModel::Add(std::string const& data) {
  Scan();
  Append(data);
}

void RecordModel::PutList(std::vector<std::string> const& records) {
  if (!m_isFile) {
    m_file = m_remembered;
    m_isFile = true;
  }
  m_records.insert(m_records.end(), records.begin(), records.end());
}

unsigned int RecordModel::Del(long index) {
  Scan();
  if (index < 0 || static_cast<std::size_t>(index) >= m_records.size()) {
    return 28;
  }
  m_records.erase(m_records.begin() + index);
  return 0;
}

void RecordModel::EmptyFile() {
  m_records.clear();
  m_isFile = false;
}

std::string RecordModel::HeaderToPut(std::string const& header) const {
  return m_isFile && m_records.empty() ? header.substr(0, m_file.text.size()) : header;
}

void RecordModel::PutHeader(std::string const& header) {
  if (!m_isFile) {
    // The store goes on to remember the old one until it scans the file.
    m_file = Header{m_remembered.reserved, m_remembered.mark, header};
    m_isFile = true;
    return;
  }
  Scan();
  if (m_records.empty() || header.size() == m_file.text.size()) {
    Overwrite(m_file.text, 0, header);
  } else {
    MoveBehind(header);
  }
}

unsigned int RecordModel::GetAll(std::vector<std::string>& out) {
  if (!m_isFile) {
    return 4;
  }
  Scan();
  out.insert(out.end(), m_records.begin(), m_records.end());
  return 0;
}

void RecordModel::Reload() {
  m_remembered = Header{};
  Scan();
}

std::string RecordModel::GetHeader() {
  Scan();
  return m_remembered.text;
}

// A record that the file does not hold whole is read as an empty one.
std::string RecordModel::ReadAt(std::string const& bytes, std::size_t position) const {
  if (position + kPrefixSize > bytes.size()) {
    return "";
  }
  std::size_t length = 0;
  for (std::size_t i = kPrefixSize; i != 0; --i) {
    length = length << 8 | static_cast<unsigned char>(bytes[position + i - 1]);
  }
  std::size_t const start = position + kPrefixSize;
  return length > bytes.size() - start ? "" : bytes.substr(start, length);
}

// All that the new header will lie upon is read first.
void RecordModel::MoveBehind(std::string const& header) {
  std::list<unsigned int> const list = Offsets();
  std::vector<unsigned int> const offsets(list.begin(), list.end());
  std::size_t const position = kWordsSize + header.size();
  std::size_t next = 1;
  while (next < offsets.size() && offsets[next] < position) {
    ++next;
  }
  std::string bytes = Bytes();
  std::deque<std::string> const pending(m_records.begin(),
                                        m_records.begin() + static_cast<long>(next));
  Overwrite(bytes, 0, Word(m_file.reserved) + Word(m_file.mark) + Item(header));
  Shift(bytes, pending, position, 0, next);
  m_file.text = header;
  m_remembered.text = header;
}

// Step by step as the store does it: before each write one record is read, and more while they
// start within the new record's length. That leaves its length prefix out, so one that starts in
// the last 4 bytes of what is written is overwritten before it is read.
void RecordModel::Shift(std::string bytes, std::deque<std::string> pending, std::size_t position,
                        std::size_t current, std::size_t next) {
  std::list<unsigned int> const list = Offsets();
  std::vector<unsigned int> const offsets(list.begin(), list.end());
  for (; !pending.empty(); ++current) {
    bool more = next < offsets.size();
    while (more) {
      m_overrun += offsets[next] < position ? 1 : 0;
      pending.push_back(ReadAt(bytes, offsets[next]));
      ++next;
      more = next < offsets.size() && offsets[next] < position + pending.front().size();
    }
    m_records[current] = pending.front();
    pending.pop_front();
    Overwrite(bytes, position, Item(m_records[current]));
    position += kPrefixSize + m_records[current].size();
  }
}
