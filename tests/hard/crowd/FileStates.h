#ifndef QUENDRIL_TESTS_HARD_CROWD_FILESTATES_H
#define QUENDRIL_TESTS_HARD_CROWD_FILESTATES_H

#include <list>
#include <set>
#include <string>

// Explains what stands in a catalogue file that several processes save at once. Nothing keeps them
// away from each other between reading the file and writing it, so it may hold what several of
// them wrote: one over the other, one behind the other, and zeros where one wrote behind what
// another had cut off meanwhile.
class FileStates {
 public:
  // `records`: the blobs of all records that anybody ever writes.
  explicit FileStates(std::list<std::string> const& records);

  // "empty"
  // "whole"          the header and whole records, no path twice
  // "records twice"  the header and whole records
  // "cut"            the same, the last record or the header incomplete
  // "pieces"         with pieces of what was written in between
  // "pieces, zeros"  with zeros, too
  // "unexplained"    with anything else
  std::string Explain(std::string const& content) const;

 private:
  std::string::size_type RecordAt(std::string const& content, std::string::size_type at) const;
  bool IsStartOfOne(std::string const& rest) const;
  // Both for what lies between whole records.
  std::string::size_type PieceAt(std::string const& gap, std::string::size_type at) const;
  std::string ExplainGap(std::string const& gap) const;

  std::set<std::string> m_items;  // Records with their lengths in front, as they stand in a file.
  std::set<std::string::size_type> m_sizes;
  std::string m_text;  // All that is ever written.
};

#endif
