#include "tests/hard/crowd/FileStates.h"

#include <algorithm>

#include "tests/support/Bytes.h"

namespace {

using Size = std::string::size_type;

constexpr Size kWord = 4;

// The header of every file that a save writes.
std::string const& Header() {
  static std::string const header = RecordFile(0, 1, "", {});
  return header;
}

Size WordAt(std::string const& content, Size at) {
  Size word = 0;
  for (Size i = kWord; i > 0; --i) {
    word = word << 8 | static_cast<unsigned char>(content[at + i - 1]);
  }
  return word;
}

// The path stands first in a record.
std::string PathOf(std::string const& item) { return item.substr(2 * kWord, WordAt(item, kWord)); }

bool StartsWith(std::string const& text, std::string const& start) {
  return text.compare(0, start.size(), start) == 0;
}

}  // namespace

FileStates::FileStates(std::list<std::string> const& records) : m_text(Header()) {
  for (std::string const& record : records) {
    std::string const item = Item(record);
    m_items.insert(item);
    m_sizes.insert(item.size());
    m_text += item;
  }
}

std::string FileStates::Explain(std::string const& content) const {
  if (content.empty()) {
    return "empty";
  }
  if (content.size() < Header().size() && StartsWith(Header(), content)) {
    return "cut";
  }
  std::set<std::string> paths;
  bool isTwice = false;
  std::string worst;
  Size gapStart = 0;
  Size at = StartsWith(content, Header()) ? Header().size() : 0;
  gapStart = at;
  for (; at <= content.size();) {
    Size const size = RecordAt(content, at);
    if (size == 0 && at < content.size()) {
      ++at;
      continue;
    }
    std::string const gap = content.substr(gapStart, at - gapStart);
    if (at == content.size() && worst.empty() && !gap.empty() && IsStartOfOne(gap)) {
      return "cut";
    }
    std::string const kind = ExplainGap(gap);
    worst = std::max(worst, kind);  // The kinds are in that order by their letters.
    if (at == content.size()) {
      break;
    }
    isTwice = !paths.insert(PathOf(content.substr(at, size))).second || isTwice;
    at += size;
    gapStart = at;
  }
  return !worst.empty() ? worst : (isTwice ? "records twice" : "whole");
}

// The size of the whole record that begins there, 0 for none.
Size FileStates::RecordAt(std::string const& content, Size at) const {
  if (content.size() - at < kWord) {
    return 0;
  }
  Size const size = WordAt(content, at) + kWord;
  bool const fits = size <= content.size() - at && m_sizes.count(size) != 0;
  return fits && m_items.count(content.substr(at, size)) != 0 ? size : 0;
}

bool FileStates::IsStartOfOne(std::string const& rest) const {
  return std::any_of(m_items.begin(), m_items.end(),
                     [&](std::string const& item) { return StartsWith(item, rest); });
}

// The length of the longest piece of anything written that stands there.
Size FileStates::PieceAt(std::string const& gap, Size at) const {
  Size best = 0;
  for (Size found = m_text.find(gap[at]); found != std::string::npos;
       found = m_text.find(gap[at], found + 1)) {
    auto const end = std::mismatch(gap.begin() + static_cast<long>(at), gap.end(),
                                   m_text.begin() + static_cast<long>(found), m_text.end());
    best = std::max(best, static_cast<Size>(end.first - gap.begin()) - at);
  }
  return best;
}

// Anything can be put together from pieces that are small enough, so there must not be many.
std::string FileStates::ExplainGap(std::string const& gap) const {
  bool hasZeros = false;
  Size pieces = 0;
  for (Size at = 0; at < gap.size(); ++pieces) {
    Size const zeros = std::min(gap.find_first_not_of('\0', at), gap.size()) - at;
    Size const piece = PieceAt(gap, at);
    hasZeros = hasZeros || zeros > piece;
    at += std::max({zeros, piece, Size{1}});
  }
  if (pieces > 2 + gap.size() / 16) {
    return "unexplained";
  }
  return gap.empty() ? "" : (hasZeros ? "pieces, zeros" : "pieces");
}
