#include "tools/Salvage.h"

#include <algorithm>
#include <optional>

#include "tools/ByteReader.h"
#include "tools/FieldWalk.h"
#include "tools/RecordFile.h"

namespace inspect {

namespace {

constexpr std::size_t kSmallestContainer = 20;
// Fields that may be looked at for each byte of the file. Only a file made for it needs more.
constexpr std::size_t kFieldsPerByte = 4;

// Too many fields were looked at.
struct GivenUp {};

// What a skim over a record's fields finds. Counts them, so that it ends in time.
class Skim : public FieldSink {
 public:
  explicit Skim(std::size_t& budget) : m_budget(budget) {}

  void Take(Field const& field) override {
    if (m_budget-- == 0) {
      m_budget = 0;
      throw GivenUp();
    }
    if (field.kind == FieldKind::Path) {
      path = field.bytes;
    } else if (field.kind == FieldKind::RecordTail) {
      tail = field.bytes.size();
    } else if (field.kind == FieldKind::SubTail) {
      hasSubTail = true;
    }
  }
  void Take(Damage const& damage) override {
    static_cast<void>(damage);
    isContainer = false;
  }

  std::string_view path;
  std::size_t tail = 0;
  bool hasSubTail = false;
  bool isContainer = true;

 private:
  std::size_t& m_budget;
};

class Salvager {
 public:
  Salvager(std::string_view file, Step const& step)
      : m_file(file), m_step(step), m_budget(kFieldsPerByte * file.size() + kSmallestContainer) {}

  Salvage Run() {
    if (m_file.size() < kHeadSize) {
      Lose(0, m_file.size());
      return m_result;
    }
    m_result.bytes.reserve(m_file.size());
    std::size_t position = kHeadSize;
    try {
      position = TakeHead();
      while (position < m_file.size()) {
        m_step(position);
        position = TakeOrPass(position);
      }
    } catch (GivenUp const&) {
      m_result.isGivenUp = true;
      Lose(position, m_file.size());
    }
    return m_result;
  }

 private:
  // Content that is taken from `begin` to `end`; the next record is looked for at `end`.
  struct Found {
    std::size_t begin;
    std::size_t end;
    bool isMended;
  };

  std::size_t WordAt(std::size_t position) const {
    return ByteReader(m_file, position, m_file.size()).TakeWord();
  }
  bool HasWordAt(std::size_t position) const { return m_file.size() - position >= kWordSize; }
  // Whether the length at `position` does not run past the end of the file.
  bool FitsAt(std::size_t position) const {
    return HasWordAt(position) && WordAt(position) <= m_file.size() - position - kWordSize;
  }

  Skim SkimOver(std::size_t begin, std::size_t end) {
    Skim skim(m_budget);
    FieldWalk(m_file, skim).Container(0, begin, end);
    return skim;
  }

  // Whether, in the middle of anything, a record is likely to begin here: all its lengths agree,
  // and it has a path. What cannot be is seen from the first two lengths.
  bool IsLikely(std::size_t position) {
    if (!FitsAt(position) || WordAt(position) < kSmallestContainer) {
      return false;
    }
    std::size_t const begin = position + kWordSize;
    std::size_t const length = WordAt(position);
    std::size_t const path = WordAt(begin);
    if (path == 0 || path > length - kSmallestContainer) {
      return false;
    }
    Skim const skim = SkimOver(begin, begin + length);
    return skim.isContainer && skim.tail == 0 && skim.path.find('\0') == std::string_view::npos;
  }
  bool IsEndOrLikely(std::size_t position) {
    return position == m_file.size() || IsLikely(position);
  }

  // The same for a record of any kind, where one is expected.
  bool IsEndOrContainer(std::size_t position) {
    std::size_t const begin = position + kWordSize;
    return position == m_file.size() ||
           (FitsAt(position) && SkimOver(begin, begin + WordAt(position)).isContainer);
  }

  // The record at `position`, if its fields can be decoded.
  std::optional<Found> FindAt(std::size_t position) {
    if (!HasWordAt(position)) {
      return std::nullopt;
    }
    std::size_t const begin = position + kWordSize;
    if (FitsAt(position)) {
      std::size_t const end = begin + WordAt(position);
      Skim const skim = SkimOver(begin, end);
      std::size_t const fieldsEnd = end - skim.tail;
      if (skim.isContainer && skim.tail != 0 && (IsLikely(fieldsEnd) || !IsEndOrContainer(end))) {
        return Found{begin, fieldsEnd, true};
      }
      if (skim.isContainer) {
        return Found{begin, end, false};
      }
    }
    return std::nullopt;
  }

  // The length is of no use; the fields tell where the record ends, if something follows there. A
  // count of sub-records that is wrong would make sub-records of the records behind, with tails.
  std::optional<Found> FindWithoutLength(std::size_t position) {
    if (!HasWordAt(position)) {
      return std::nullopt;
    }
    std::size_t const begin = position + kWordSize;
    Skim const skim = SkimOver(begin, m_file.size());
    std::size_t const end = m_file.size() - skim.tail;
    if (skim.isContainer && !skim.hasSubTail && !skim.path.empty() && IsEndOrLikely(end)) {
      return Found{begin, end, true};
    }
    return std::nullopt;
  }

  // The first likely record at or behind `position`; the end of the file when there is none.
  std::size_t Search(std::size_t position) {
    while (position < m_file.size() && !IsLikely(position)) {
      if (position % (1U << 20U) == 0) {
        m_step(position);
      }
      ++position;
    }
    return position;
  }

  // Writes the head of the new file, and returns where the records begin.
  std::size_t TakeHead() {
    std::size_t const length = WordAt(kHeadSize - kWordSize);
    bool const fits = length <= m_file.size() - kHeadSize;
    std::size_t const behind = fits ? kHeadSize + length : m_file.size();
    bool isTrusted =
        fits && (behind == m_file.size() || FindAt(behind) || FindWithoutLength(behind));
    std::size_t begin = behind;
    if (!isTrusted) {
      std::size_t const first = Search(kHeadSize);
      isTrusted = fits && behind <= first;
      begin = isTrusted ? behind : first;
    }
    if (isTrusted) {
      m_result.bytes += m_file.substr(0, begin);
    } else {
      m_result.bytes += m_file.substr(0, kHeadSize - kWordSize);
      m_result.bytes += ToWord(0);
      m_result.isHeaderLost = true;
      Lose(kHeadSize - kWordSize, begin);
    }
    return begin;
  }

  // Takes the record at `position` or what there is of one behind it. Returns where to go on.
  std::size_t TakeOrPass(std::size_t position) {
    if (std::optional<Found> const found = FindAt(position)) {
      TakeRecord(*found);
      return found->end;
    }
    std::size_t const next = FitsAt(position) ? position + kWordSize + WordAt(position) : 0;
    if (next != 0 && IsLikely(next)) {
      Lose(position, next);
      return next;
    }
    if (std::optional<Found> const found = FindWithoutLength(position)) {
      TakeRecord(*found);
      return found->end;
    }
    std::size_t const found = Search(position + 1);
    Lose(position, found);
    return found;
  }

  void TakeRecord(Found const& found) {
    std::size_t const length = found.end - found.begin;
    m_result.bytes += ToWord(length);
    m_result.bytes += m_file.substr(found.begin, length);
    ++m_result.taken;
    m_result.mended += found.isMended ? 1 : 0;
  }

  void Lose(std::size_t begin, std::size_t end) {
    if (begin == end) {
      return;
    }
    if (!m_result.lost.empty() && m_result.lost.back().end == begin) {
      m_result.lost.back().end = end;
    } else {
      m_result.lost.push_back({begin, end});
    }
  }

  std::string_view const m_file;
  Step const& m_step;
  std::size_t m_budget;
  Salvage m_result;
};

// Whether nothing is to be mended: then a record is what its length says, whatever its bytes look
// like.
bool IsWhole(RecordFile const& file) {
  if (file.damage || !file.hasHead) {
    return false;
  }
  for (std::size_t number = 0; number < file.Count(); ++number) {
    if (!ReadContainer(file, number).IsContainer()) {
      return false;
    }
  }
  return true;
}

}  // namespace

Salvage SalvageRecords(std::string_view file, Step const& step) {
  RecordFile const parsed = ParseFile(file);
  if (IsWhole(parsed)) {
    Salvage salvage;
    salvage.bytes = file;
    salvage.taken = parsed.Count();
    return salvage;
  }
  return Salvager(file, step).Run();
}

}  // namespace inspect
