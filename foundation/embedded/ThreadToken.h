#ifndef QUENDRIL_FOUNDATION_EMBEDDED_THREADTOKEN_H
#define QUENDRIL_FOUNDATION_EMBEDDED_THREADTOKEN_H

// A number that names the calling thread and no other one of this process, ever. (The system's own
// thread identities are given out again, and a hold may outlive the thread that took it.)
unsigned long ThreadToken();

#endif
