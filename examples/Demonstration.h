#ifndef QUENDRIL_EXAMPLES_DEMONSTRATION_H
#define QUENDRIL_EXAMPLES_DEMONSTRATION_H

#include <string>

// Shows the machine-wide catalogue end to end, in a scratch folder that it makes and removes.
// Returns 0, or 1 when anything did not come out as it should.
int Demonstrate();

// The second process of the demonstration: adds one container to the catalogue under `folder`.
// Returns 0, or 1 when the file does not hold it afterwards.
int AddContainer(std::string const& folder, std::string const& path);

#endif
