#ifndef QUENDRIL_TOOLS_MAPPICTURE_H
#define QUENDRIL_TOOLS_MAPPICTURE_H

#include <cstdio>
#include <string>

#include "tools/RecordFile.h"

namespace inspect {

// Draws the file in SVG: its bytes in rows, to scale, coloured by what they are, damage in red;
// with a title and a legend. A small file shows each byte and names each field when it is pointed
// at; in a large one a dot stands for several bytes, and for damage if there is any in them. The
// picture's size is bounded whatever the file's. Returns whether the file is damaged.
bool DrawPicture(RecordFile const& file, std::string const& title, std::FILE* out,
                 Step const& step = nullptr);

}  // namespace inspect

#endif
