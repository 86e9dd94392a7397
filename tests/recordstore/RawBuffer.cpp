#include "tests/recordstore/RawBuffer.h"

#include <sstream>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"

namespace {

std::stringstream& StreamOf(QuasiStructBuffer& buffer);

// The instantiation of a template may name private members.
template <std::stringstream QuasiStructBuffer::*kMember>
struct StreamAccess {
  friend std::stringstream& StreamOf(QuasiStructBuffer& buffer) { return buffer.*kMember; }
};
template struct StreamAccess<&QuasiStructBuffer::m_stream>;

}  // namespace

RawBuffer::RawBuffer(std::string const& content) : QuasiStructBuffer(nullptr, 0) {
  EXPECT_EQ(content.size(),
            QuasiStructBuffer::stor_Write(nullptr, content.data(),
                                          static_cast<unsigned int>(content.size())));
  EXPECT_EQ(0U, QuasiStructBuffer::stor_Seek(nullptr, 0, 0));
}

std::stringstream& RawBuffer::Stream() { return StreamOf(*this); }

bool RawBuffer::IsFailed() { return Stream().fail(); }

std::string RawBuffer::Content() { return Stream().str(); }

std::vector<long> RawBuffer::Positions() {
  return {static_cast<long>(Stream().tellg()), static_cast<long>(Stream().tellp())};
}

std::string RawBuffer::ReadSome(unsigned int count) {
  std::string bytes(count, '\0');
  EXPECT_EQ(count, stor_Read(nullptr, bytes.data(), count));
  return bytes;
}

unsigned int RawBuffer::WriteSome(std::string const& bytes) {
  return stor_Write(nullptr, bytes.data(), static_cast<unsigned int>(bytes.size()));
}

unsigned int RawBuffer::Seek(long offset, int origin) { return stor_Seek(nullptr, offset, origin); }

unsigned int RawBuffer::ReadBlob(IdentObj& target, unsigned int position) {
  return stor_ReadIdentObject(nullptr, target, position);
}

unsigned int RawBuffer::WriteBlob(std::string const& data, unsigned int position) {
  return stor_WriteIdentObject(nullptr, Blob(data), position);
}

void RawBuffer::Fail() {
  char byte = 0;
  Seek(0, 2);
  EXPECT_EQ(0U, stor_Read(nullptr, &byte, 1));
  EXPECT_TRUE(IsFailed());
}
