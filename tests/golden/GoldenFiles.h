#ifndef QUENDRIL_TESTS_GOLDEN_GOLDENFILES_H
#define QUENDRIL_TESTS_GOLDEN_GOLDENFILES_H

#include <string>

// Reference files, written down byte by byte. What stands behind a # explains the bytes before it
// and is no part of the file. All integers are unsigned 32-bit little-endian.

// A record file with a header and three records.
constexpr char kGoldenRecordFile[] = R"(
  2a 00 00 00                                      # first reserved word: 42
  00 00 00 00                                      # cleaned mark: 0
  05 00 00 00                                      # header length: 5 bytes
  68 65 61 64 21                                   # header "head!"
  03 00 00 00                                      # record 0: 3 bytes
  6f 6e 65                                         #   "one"
  00 00 00 00                                      # record 1: 0 bytes
  0a 00 00 00                                      # record 2: 10 bytes
  00 ff 00 ff 74 68 72 65 65 0a                    #   any bytes at all
)";

// A catalogue that was saved: no header, two containers.
constexpr char kGoldenCatalogue[] = R"(
  00 00 00 00                                      # first reserved word: 0
  01 00 00 00                                      # cleaned mark: 1
  00 00 00 00                                      # header length: 0 bytes
  4c 00 00 00                                      # record 0: 76 bytes
    10 00 00 00                                    #   path: 16 bytes
    2f 6b 65 79 73 2f 4d c3 bc 6c 6c 65 72 2f 6b 31  # "/keys/Müller/k1"
    03 00 00 00                                    #   first blob: 3 bytes
    01 02 03
    02 00 00 00                                    #   second blob: 2 bytes
    ff fe
    78 56 34 12                                    #   param: 0x12345678
    02 00 00 00                                    #   two sub-records
    0e 00 00 00                                    #     sub-record 0: 14 bytes
      02 00 00 00                                  #       ident: 2 bytes
      61 62                                        #         "ab"
      07 00 00 00                                  #       param 1: 7
      08 00 00 00                                  #       param 2: 8
    0d 00 00 00                                    #     sub-record 1: 13 bytes
      01 00 00 00                                  #       ident: 1 byte
      7a                                           #         "z"
      00 00 00 00                                  #       param 1: 0
      ff ff ff ff                                  #       param 2: 0xFFFFFFFF
  1c 00 00 00                                      # record 1: 28 bytes
    08 00 00 00                                    #   path: 8 bytes
    2f 6b 65 79 73 2f 6b 32                        #     "/keys/k2"
    00 00 00 00                                    #   first blob: 0 bytes
    00 00 00 00                                    #   second blob: 0 bytes
    00 00 00 00                                    #   param: 0
    00 00 00 00                                    #   no sub-records
)";

// A catalogue that was never cleaned, with a header. Its records are tested at the next load.
constexpr char kGoldenUncleanedCatalogue[] = R"(
  00 00 00 00                                      # first reserved word: 0
  00 00 00 00                                      # cleaned mark: 0
  02 00 00 00                                      # header length: 2 bytes
  68 64                                            # header "hd"
  1e 00 00 00                                      # record 0: 30 bytes
    0a 00 00 00                                    #   path: 10 bytes
    2f 6e 6f 77 68 65 72 65 2f 61                  #     "/nowhere/a", which does not exist
    00 00 00 00                                    #   first blob: 0 bytes
    00 00 00 00                                    #   second blob: 0 bytes
    00 00 00 00                                    #   param: 0
    00 00 00 00                                    #   no sub-records
  15 00 00 00                                      # record 1: 21 bytes
    01 00 00 00                                    #   path: 1 byte
    2f                                             #     "/", which exists
    00 00 00 00                                    #   first blob: 0 bytes
    00 00 00 00                                    #   second blob: 0 bytes
    05 00 00 00                                    #   param: 5
    00 00 00 00                                    #   no sub-records
)";

// The bytes of such a text.
std::string GoldenBytes(char const* text);

#endif
