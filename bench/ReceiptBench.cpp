// Costs of reading receipts, each beside a baseline measured in the same run:
//   parse of a 1 MiB payload      against a bare walk over the same headers with ASN1_get_object
//   ReadReceipt of a receipt file  against d2i_PKCS7_fp + PKCS7_free of the same file
// After the runs the ratios are printed; they are what to compare between changes, since the
// absolute times depend on the machine.

#include <benchmark/benchmark.h>
#include <openssl/asn1.h>
#include <openssl/pkcs7.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "bench/Ratios.h"
#include "receipts/CertTools.h"
#include "tools/receiptmaker/ReceiptMaker.h"

namespace {

using namespace ReceiptMaker;

// About 1 MiB of records of the kinds a receipt holds: texts, integers, blocks and purchases.
const Bytes& LargePayload() {
  static const Bytes payload = [] {
    std::vector<Attribute> records;
    std::size_t size = 0;
    for (std::int64_t i = 0; size < (1 << 20); ++i) {
      Bytes value;
      switch (i % 4) {
        case 0:
          value = Utf8Value("com.example.quellmark." + std::to_string(i));
          break;
        case 1:
          value = IntValue(i * 7919);
          break;
        case 2:
          value = HexValue("00112233445566778899AABBCCDDEEFF");
          break;
        default:
          value =
              PurchaseValue({{1701, 1, IntValue(1)}, {1702, 1, Utf8Value("com.example.coins")}});
      }
      size += value.size() + 12;
      records.push_back({i % 40, 1, std::move(value)});
    }
    return Payload(records);
  }();
  return payload;
}

// The same walk as the decoder's, reading every header of the three levels and the value
// object, but building nothing.
long BareWalk(const unsigned char* data, long size) {
  const unsigned char* p = data;
  const unsigned char* const end = data + size;
  long len = 0;
  int tag = 0, cls = 0, objects = 0;
  while (p < end) {
    ASN1_get_object(&p, &len, &tag, &cls, end - p);
    const unsigned char* const setEnd = p + len;
    while (p < setEnd) {
      ASN1_get_object(&p, &len, &tag, &cls, setEnd - p);
      const unsigned char* const seqEnd = p + len;
      while (p < seqEnd) {
        ASN1_get_object(&p, &len, &tag, &cls, seqEnd - p);
        if (tag == V_ASN1_OCTET_STRING) {
          const unsigned char* q = p;
          long qlen = 0;
          ASN1_get_object(&q, &qlen, &tag, &cls, seqEnd - p);
        }
        p += len;
        ++objects;
      }
    }
  }
  return objects;
}

void BM_BareHeaderWalk(benchmark::State& state) {
  const Bytes& payload = LargePayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(BareWalk(payload.data(), static_cast<long>(payload.size())));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload.size()));
}
BENCHMARK(BM_BareHeaderWalk);

void BM_Parse(benchmark::State& state) {
  const Bytes& payload = LargePayload();
  for (auto _ : state) {
    auto maps = CertTools::parse(payload.data(), static_cast<std::int64_t>(payload.size()));
    benchmark::DoNotOptimize(maps);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload.size()));
}
BENCHMARK(BM_Parse);

// A typical receipt, written to a scratch file once.
const std::filesystem::path& TypicalReceipt() {
  static const std::filesystem::path path = [] {
    const Bytes file = Sign(TypicalPayload());
    const auto p = std::filesystem::temp_directory_path() /
                   ("quellmark-bench-" + std::to_string(getpid()) + ".receipt");
    std::ofstream(p, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()),
               static_cast<std::streamsize>(file.size()));
    return p;
  }();
  return path;
}

void BM_ContainerParse(benchmark::State& state) {
  const auto& path = TypicalReceipt();
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    PKCS7* p7 = d2i_PKCS7_fp(f, nullptr);
    std::fclose(f);
    benchmark::DoNotOptimize(p7);
    PKCS7_free(p7);
  }
}
BENCHMARK(BM_ContainerParse);

void BM_ReadReceipt(benchmark::State& state) {
  const auto file = toolkit::Ref<toolkit::FolderItem>::New(TypicalReceipt());
  for (auto _ : state) {
    auto map = CertTools::ReadReceipt(file);
    if (!map) state.SkipWithError("the typical receipt did not read");
    benchmark::DoNotOptimize(map);
  }
}
BENCHMARK(BM_ReadReceipt);

}  // namespace

int main(int argc, char** argv) {
  bench::RunWithRatios(
      &argc, argv, {{"BM_Parse", "BM_BareHeaderWalk"}, {"BM_ReadReceipt", "BM_ContainerParse"}});
  std::error_code ec;
  std::filesystem::remove(TypicalReceipt(), ec);
  return 0;
}
