// The header of an archive's file: whatever the serial, the size and the time, an independent
// reader accepts it and finds in it what was written.
//
//   input = size(4) time(8) serial

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "crypto/store/certificate_archive.h"
#include "crypto/store/tar_writer.h"
#include "fuzz/check.h"
#include "tests/builders/tar_reader.h"

namespace {

constexpr std::uint64_t kLatest = 077777777777;

// The first octets of the input as a number; those that are missing count as 0.
template <class Number>
Number takeNumber(const std::uint8_t*& data, std::size_t& size) {
  Number number = 0;
  const std::size_t count = std::min(size, sizeof number);
  std::copy_n(data, count, reinterpret_cast<std::uint8_t*>(&number));
  data += count;
  size -= count;
  return number;
}

// As a summary holds it: up to eleven octets and a NUL.
wzapp::CertificateSummary summaryOf(const std::uint8_t* data, std::size_t size) {
  wzapp::CertificateSummary summary{};
  std::copy_n(data, std::min(size, std::size(summary.serial) - 1), summary.serial);
  return summary;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto contentSize = takeNumber<std::uint32_t>(data, size);
  const auto mtime = takeNumber<std::int64_t>(data, size);
  const wzapp::CertificateSummary summary = summaryOf(data, size);

  const wzapp::TarHeader header =
      wzapp::makeTarHeader(certificateFileName(wzapp::kTerminalFilePrefix, summary), contentSize,
                           static_cast<std::time_t>(mtime));

  const std::string_view block(reinterpret_cast<const char*>(&header), sizeof header);
  const wzapp_test::TarMember member = wzapp_test::readTarHeader(block);  // throws at a fault
  FUZZ_CHECK(member.name == std::string("os") + summary.serial + ".crt");
  FUZZ_CHECK(member.size == contentSize);
  FUZZ_CHECK(member.mtime ==
             (mtime < 0 ? 0 : std::min(static_cast<std::uint64_t>(mtime), kLatest)));
  FUZZ_CHECK(member.mode == 0644 && member.uid == 0 && member.gid == 0 && member.type == '0');
  FUZZ_CHECK(member.owner == "root" && member.group == "root");
  return 0;
}
