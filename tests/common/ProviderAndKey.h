#ifndef QUENDRIL_TESTS_COMMON_PROVIDERANDKEY_H
#define QUENDRIL_TESTS_COMMON_PROVIDERANDKEY_H

#include <string>

// The fixed paths that the common file's creation looks at. Only for PrivateRoot::Run.

constexpr char kKeyFolder[] = "/var/lib/VelmarCSP";
constexpr char kKeyFile[] = "/var/lib/VelmarCSP/QndrCont";
constexpr char kProviderFile[] = "/usr/lib/velmar/cont_info.dat";

// Makes the folder that the key file can then be made in.
void MakeKeyFolder();
// Makes the provider's catalogue file.
void MakeProviderFile(std::string const& content);
// The key of the key file, which must be there.
int KeyOfKeyFile();
// Makes semaphore sets of a shape that the lock cannot use, under the key file's key and under -1,
// so that nothing but the making of the file itself keeps processes apart.
void SpoilSemaphores();

#endif
