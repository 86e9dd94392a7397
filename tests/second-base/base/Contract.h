#ifndef QUENDRIL_SECOND_BASE_CONTRACT_H
#define QUENDRIL_SECOND_BASE_CONTRACT_H

// Ends the program, with a line that says so, unless `holds`: the library asked for something that
// no base library has promised.
void Require(bool holds, char const* what);

#endif
