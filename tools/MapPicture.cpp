#include "tools/MapPicture.h"

#include <algorithm>
#include <array>
#include <vector>

#include <fmt/format.h>

#include "tools/Console.h"
#include "tools/Printable.h"

namespace inspect {

namespace {

constexpr std::size_t kGroups = 9;
constexpr std::size_t kMostRows = 64;
constexpr std::size_t kFewCells = 128;   // In a row of a file whose bytes are shown one by one.
constexpr std::size_t kManyCells = 512;  // In a row of any other.
constexpr std::size_t kWidth = 1024;
constexpr std::size_t kRowHeight = 14;
constexpr std::size_t kRowStep = 18;
constexpr std::size_t kLeft = 96;
constexpr std::size_t kTop = 64;

constexpr std::size_t kMarkWidth = 3;
constexpr std::size_t kMarkRise = 2;
constexpr auto kDamage = static_cast<std::size_t>(FieldGroup::Damage);
constexpr char kRecordColor[] = "#202020";

// In the order of FieldGroup.
constexpr std::array<char const*, kGroups> kColors{"#17a2b8", "#7fd1de", "#9aa0a6",
                                                   "#2e9e4f", "#e0a800", "#9b59b6",
                                                   "#3b73d1", "#e4e4e4", "#e02020"};

char const* ColorOfGroup(std::size_t group) { return kColors.at(group); }

// Text as XML may hold it.
std::string Escaped(std::string const& text) {
  std::string escaped;
  for (char const c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// How bytes become cells, and cells rows.
struct Scale {
  explicit Scale(std::size_t size)
      : cellsPerRow(size <= kFewCells * kMostRows ? kFewCells : kManyCells),
        bytesPerCell(std::max<std::size_t>(
            1, (size + cellsPerRow * kMostRows - 1) / (cellsPerRow * kMostRows))) {}

  std::size_t CellOf(std::size_t offset) const { return offset / bytesPerCell; }
  std::size_t CellWidth() const { return kWidth / cellsPerRow; }

  std::size_t cellsPerRow;
  std::size_t bytesPerCell;
};

// Damage, at the cell where it shows.
struct Mark {
  std::size_t cell;
  std::string text;
};

// Counts, for each cell, how many of its bytes are of each sort. Where each byte has its own cell
// it keeps the fields themselves.
class CellSink : public FieldSink {
 public:
  CellSink(Scale const& scale, std::size_t size)
      : m_scale(scale), m_cells(size == 0 ? 0 : scale.CellOf(size - 1) + 1) {}

  void Take(Field const& field) override {
    std::size_t const end = field.offset + field.bytes.size();
    auto const group = static_cast<std::size_t>(GroupOf(field.kind));
    for (std::size_t at = field.offset; at < end;) {
      std::size_t const cell = m_scale.CellOf(at);
      std::size_t const next = std::min(end, (cell + 1) * m_scale.bytesPerCell);
      m_cells[cell].at(group) += static_cast<std::uint32_t>(next - at);
      at = next;
    }
    if (m_scale.bytesPerCell == 1 && !field.bytes.empty()) {
      m_fields.push_back(field);
    }
    m_isDamaged = m_isDamaged || GroupOf(field.kind) == FieldGroup::Damage;
  }
  void Take(Damage const& damage) override {
    m_isDamaged = true;
    if (m_cells.empty()) {
      return;
    }
    std::size_t const cell = std::min(m_scale.CellOf(damage.offset), m_cells.size() - 1);
    if (m_scale.bytesPerCell == 1) {
      m_damages.push_back({cell, Explain(damage)});
    } else {
      ++m_cells[cell].at(kDamage);
    }
  }

  // What the cell looks like: damaged, or what most of its bytes are.
  std::size_t GroupOfCell(std::size_t cell) const {
    std::array<std::uint32_t, kGroups> const& counts = m_cells[cell];
    if (counts.at(kDamage) != 0) {
      return kDamage;
    }
    return static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) -
                                    counts.begin());
  }
  std::size_t Count() const { return m_cells.size(); }
  std::vector<Field> const& Fields() const { return m_fields; }
  std::vector<Mark> const& Damages() const { return m_damages; }
  bool IsDamaged() const { return m_isDamaged; }

 private:
  Scale const m_scale;
  std::vector<std::array<std::uint32_t, kGroups>> m_cells;
  std::vector<Field> m_fields;
  std::vector<Mark> m_damages;
  bool m_isDamaged = false;
};

class Picture {
 public:
  Picture(RecordFile const& file, std::string const& title, TextOut& out, Step const& step)
      : m_file(file), m_scale(file.bytes.size()), m_sink(m_scale, file.bytes.size()), m_out(out) {
    WalkFile(file, m_sink, step);
    std::size_t const rows = (m_sink.Count() + m_scale.cellsPerRow - 1) / m_scale.cellsPerRow;
    m_legend = kTop + rows * kRowStep + kRowStep;
    Begin(title);
  }

  bool Draw() {
    DrawOffsets();
    if (m_scale.bytesPerCell == 1) {
      DrawFields();
    } else {
      DrawCells();
    }
    DrawLegend();
    m_out.Write("</svg>\n");
    return m_sink.IsDamaged();
  }

 private:
  void Begin(std::string const& title) {
    m_out.Write(fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" "
        "viewBox=\"0 0 {0} {1}\" font-family=\"sans-serif\" font-size=\"12\">\n"
        "<title>{2}</title>\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        "<text x=\"16\" y=\"24\" font-size=\"16\">{2}</text>\n"
        "<text x=\"16\" y=\"44\">{3}, {4}{5}; a dot is {6}</text>\n",
        kLeft + kWidth + 16, m_legend + 48, Escaped(title),
        inspect::Count(m_file.bytes.size(), "byte", "bytes"),
        inspect::Count(m_file.Count(), "record", "records"), m_sink.IsDamaged() ? ", damaged" : "",
        inspect::Count(m_scale.bytesPerCell, "byte", "bytes")));
  }

  void DrawOffsets() {
    for (std::size_t cell = 0; cell < m_sink.Count(); cell += m_scale.cellsPerRow) {
      m_out.Write(
          fmt::format("<text x=\"{}\" y=\"{}\" font-family=\"monospace\" font-size=\"11\" "
                      "text-anchor=\"end\">{:#x}</text>\n",
                      kLeft - 8, kTop + cell / m_scale.cellsPerRow * kRowStep + 11,
                      cell * m_scale.bytesPerCell));
    }
  }

  void DrawFields() {
    for (Field const& field : m_sink.Fields()) {
      DrawStretch(field.offset, field.offset + field.bytes.size(),
                  static_cast<std::size_t>(GroupOf(field.kind)), Tip(field));
      if (field.kind == FieldKind::RecordLength) {
        DrawMark(field.offset, kRecordColor, Tip(field));
      }
    }
    for (Mark const& mark : m_sink.Damages()) {
      DrawMark(mark.cell, ColorOfGroup(kDamage), mark.text);
    }
  }

  // Neighbours that look the same become one.
  void DrawCells() {
    for (std::size_t cell = 0; cell < m_sink.Count();) {
      std::size_t const group = m_sink.GroupOfCell(cell);
      std::size_t end = cell + 1;
      while (end < m_sink.Count() && m_sink.GroupOfCell(end) == group) {
        ++end;
      }
      DrawStretch(cell, end, group,
                  fmt::format("mostly {}, from byte {:#x}", NameOf(static_cast<FieldGroup>(group)),
                              cell * m_scale.bytesPerCell));
      if (group == kDamage) {
        DrawMark(cell, ColorOfGroup(kDamage), "damage");
      }
      cell = end;
    }
  }

  // Cells `begin` to `end`, on as many rows as they take.
  void DrawStretch(std::size_t begin, std::size_t end, std::size_t group, std::string const& tip) {
    m_out.Write(fmt::format(R"(<g fill="{}" stroke="white" stroke-width="{}"><title>{}</title>)",
                            ColorOfGroup(group), m_scale.bytesPerCell == 1 ? 1 : 0, Escaped(tip)));
    while (begin < end) {
      std::size_t const row = begin / m_scale.cellsPerRow;
      std::size_t const rowEnd = std::min(end, (row + 1) * m_scale.cellsPerRow);
      m_out.Write(fmt::format(R"(<rect x="{}" y="{}" width="{}" height="{}"/>)",
                              kLeft + begin % m_scale.cellsPerRow * m_scale.CellWidth(),
                              kTop + row * kRowStep, (rowEnd - begin) * m_scale.CellWidth(),
                              kRowHeight));
      begin = rowEnd;
    }
    m_out.Write("</g>\n");
  }

  // A narrow line that is seen among the bytes: where a record begins, or where damage shows, even
  // if there is no byte that is wrong because some are missing.
  void DrawMark(std::size_t cell, char const* color, std::string const& tip) {
    m_out.Write(
        fmt::format("<g fill=\"{}\"><title>{}</title><rect x=\"{}\" y=\"{}\" width=\"{}\" "
                    "height=\"{}\"/></g>\n",
                    color, Escaped(tip), kLeft + cell % m_scale.cellsPerRow * m_scale.CellWidth(),
                    kTop + cell / m_scale.cellsPerRow * kRowStep - kMarkRise, kMarkWidth,
                    kRowHeight + 2 * kMarkRise));
  }

  static std::string Tip(Field const& field) {
    std::string tip = field.record ? fmt::format("record {}: ", *field.record) : "";
    tip += fmt::format("{}, {} {}", NameOf(field),
                       inspect::Count(field.bytes.size(), "byte", "bytes"), AtOffset(field.offset));
    if (IsWord(field.kind)) {
      tip += fmt::format(": {}", field.value);
    } else if (field.kind == FieldKind::Path) {
      tip += ": " + Printable(field.bytes);
    }
    return tip;
  }

  void DrawLegend() {
    std::size_t x = kLeft;
    if (m_scale.bytesPerCell == 1) {
      x = DrawKey(x, kRecordColor, "record");
    }
    for (std::size_t group = 0; group < kGroups; ++group) {
      x = DrawKey(x, ColorOfGroup(group), NameOf(static_cast<FieldGroup>(group)));
    }
  }

  // Returns where the next one goes.
  std::size_t DrawKey(std::size_t x, char const* color, std::string const& name) {
    m_out.Write(fmt::format(
        "<rect x=\"{}\" y=\"{}\" width=\"12\" height=\"12\" fill=\"{}\" stroke=\"#888\"/>"
        "<text x=\"{}\" y=\"{}\">{}</text>\n",
        x, m_legend, color, x + 18, m_legend + 11, Escaped(name)));
    return x + 40 + 7 * name.size();
  }

  RecordFile const& m_file;
  Scale const m_scale;
  CellSink m_sink;
  TextOut& m_out;
  std::size_t m_legend = 0;
};

}  // namespace

bool DrawPicture(RecordFile const& file, std::string const& title, std::FILE* out,
                 Step const& step) {
  TextOut text(out);
  return Picture(file, title, text, step).Draw();
}

}  // namespace inspect
