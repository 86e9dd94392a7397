#ifndef QUENDRIL_EXAMPLES_HOSTFOLDER_H
#define QUENDRIL_EXAMPLES_HOSTFOLDER_H

#include <string>

// Where this host keeps what is common to the machine. The library asks SHGetFolderPath; this
// program puts one of its own in place, which answers with the folder set here, so that it needs no
// privilege. Without a folder the machine's own is meant, which the embedded base knows as
// /var/lib.
void SetHostFolder(std::string const& folder);

#endif
