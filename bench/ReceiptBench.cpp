// Costs of reading receipts, each beside a baseline measured in the same run:
//   parse of a 1 MiB payload      against a bare walk over the same headers with ASN1_get_object,
//                                 and against that walk with the private copies of every
//                                 record (its value's block and its two key texts), the floor
//   parse of a receipt's payload   against the bare walk over it, for a typical receipt and for
//                                 the real one of 79 KiB; also as the median ratio of rounds of
//                                 each made one right after the other (parse_per_walk), for the
//                                 typical receipt and each of the real ones beside the checkout
//   ReadReceipt of a receipt file  against d2i_PKCS7_fp + PKCS7_free of the same file, for a
//                                 typical receipt and for a real one of 79 KiB
//   Examine of a receipt's bytes   against libcrypto alone doing what it checks: d2i_PKCS7,
//                                 PKCS7_verify with the trusted root in a store, and one SHA-1
//                                 over the same bytes; for a typical receipt signed through a
//                                 test chain and for the real one of 79 KiB with Apple's root
//   Examine of hostile certificates  against Examine of the typical receipt: 10,000 certificates,
//                                 the 64 that are examined, a loop of two CAs, a signer of 1 MiB
// After the runs the ratios are printed; they are what to compare between changes, since the
// absolute times depend on the machine. Run with --benchmark_repetitions=5 (or more): the
// ratios are of the medians. On a busy machine --benchmark_enable_random_interleaving=true
// spreads the repetitions of a ratio's two sides over the same stretch of time.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <openssl/asn1.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>
#include <openssl/x509.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "bench/Ratios.h"
#include "examination/Examination.h"
#include "platform/toolkit/MemoryBlock.h"
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
// object, but building nothing. `onValue(numberTag, numberBytes, numberLength, value, length)`
// is called for each record's OCTET STRING whose record the decoder takes in, with the
// record's first field and the OCTET STRING's contents.
template <class OnValue>
long HeaderWalk(const unsigned char* data, long size, OnValue onValue) {
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
      const unsigned char* number = nullptr;
      long numberLength = 0;
      int numberTag = 0;
      while (p < seqEnd) {
        ASN1_get_object(&p, &len, &tag, &cls, seqEnd - p);
        if (number == nullptr) {
          number = p;
          numberLength = len;
          numberTag = tag;
        }
        if (tag == V_ASN1_OCTET_STRING) {
          const unsigned char* q = p;
          long qlen = 0;
          ASN1_get_object(&q, &qlen, &tag, &cls, seqEnd - p);
          onValue(numberTag, number, numberLength, p, len);
        }
        p += len;
        ++objects;
      }
    }
  }
  return objects;
}

long BareWalk(const unsigned char* data, long size) {
  return HeaderWalk(data, size, [](int, const unsigned char*, long, const unsigned char*, long) {});
}

// A key "attr N" or "raw N" from the number text N, formed in one piece as the decoder forms it.
template <std::size_t N>
toolkit::String EntryKey(const char (&prefix)[N], const toolkit::String& numberText) {
  constexpr std::size_t kPrefix = N - 1;
  char buffer[kPrefix + 20];
  const std::size_t length = std::min(numberText.LenB(), sizeof buffer - kPrefix);
  std::memcpy(buffer, prefix, kPrefix);
  std::memcpy(buffer + kPrefix, numberText.View().data(), length);
  return toolkit::String(std::string_view(buffer, kPrefix + length));
}

// The walk with the private copies of every record that the decoder takes in: the raw block,
// made as the decoder makes it, and the key texts "attr N" and "raw N" of its number, formed as
// the decoder forms them. Nothing is stored: each copy goes as soon as it is made. The decoder
// itself forms key texts only for the entries of its maps, once for each number of a SET, so
// where numbers repeat, as they do in this payload, it forms fewer than this floor does.
long WalkAndCopies(const unsigned char* data, long size) {
  return HeaderWalk(
      data, size,
      [](int numberTag, const unsigned char* numberBytes, long numberLength,
         const unsigned char* value, long length) {
        const std::int64_t number = CertTools::intVal(numberBytes, numberTag, numberLength);
        if (number == 1 || number == 6) return;
        const auto block = toolkit::MemoryBlock::NewCopy(value, static_cast<std::size_t>(length));
        const toolkit::String text = toolkit::Str(number, "-#");
        const toolkit::String attr = EntryKey("attr ", text);
        const toolkit::String raw = EntryKey("raw ", text);
        benchmark::DoNotOptimize(block->Data());
        benchmark::DoNotOptimize(attr.Bytes().data());
        benchmark::DoNotOptimize(raw.Bytes().data());
      });
}

void BM_BareHeaderWalk(benchmark::State& state) {
  const Bytes& payload = LargePayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(BareWalk(payload.data(), static_cast<long>(payload.size())));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload.size()));
}
BENCHMARK(BM_BareHeaderWalk);

void BM_WalkAndCopies(benchmark::State& state) {
  const Bytes& payload = LargePayload();
  for (auto _ : state) {
    benchmark::DoNotOptimize(WalkAndCopies(payload.data(), static_cast<long>(payload.size())));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload.size()));
}
BENCHMARK(BM_WalkAndCopies);

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

// The real receipt of 79 KiB with 187 purchases, read where it lies beside the checkout; empty
// where it is absent.
std::filesystem::path LargeReceipt() {
  const auto p = std::filesystem::path(QM_SHARED_RECEIPTS) / "ios-2020-sandbox-large.receipt";
  return std::filesystem::is_regular_file(p) ? p : std::filesystem::path();
}

constexpr const char* kNoLargeReceipt =
    "skipped: the real receipts are not at " QM_SHARED_RECEIPTS
    "; they live beside the checkout on the team's machines only";

void ContainerParseOf(benchmark::State& state, const std::filesystem::path& path) {
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    PKCS7* p7 = d2i_PKCS7_fp(f, nullptr);
    std::fclose(f);
    benchmark::DoNotOptimize(p7);
    PKCS7_free(p7);
  }
}

void ReadReceiptOf(benchmark::State& state, const std::filesystem::path& path) {
  const auto file = toolkit::Ref<toolkit::FolderItem>::New(path);
  for (auto _ : state) {
    auto map = CertTools::ReadReceipt(file);
    if (!map) state.SkipWithError("the receipt did not read");
    benchmark::DoNotOptimize(map);
  }
}

void BM_ContainerParse(benchmark::State& state) {
  ContainerParseOf(state, TypicalReceipt());
}
BENCHMARK(BM_ContainerParse);

void BM_ReadReceipt(benchmark::State& state) {
  ReadReceiptOf(state, TypicalReceipt());
}
BENCHMARK(BM_ReadReceipt);

// Runs `measure` over the 79 KiB receipt, or reports that it is absent.
template <class Measure>
void OnLargeReceipt(benchmark::State& state, Measure measure) {
  const auto path = LargeReceipt();
  if (path.empty()) {
    state.SkipWithError(kNoLargeReceipt);
    return;
  }
  measure(state, path);
}

void BM_ContainerParseLarge(benchmark::State& state) {
  OnLargeReceipt(state, ContainerParseOf);
}
BENCHMARK(BM_ContainerParseLarge);

void BM_ReadReceiptLarge(benchmark::State& state) {
  OnLargeReceipt(state, ReadReceiptOf);
}
BENCHMARK(BM_ReadReceiptLarge);

// The payload of the receipt file at `path`: the contents of its data, as ReadReceipt hands them
// to parse.
Bytes PayloadOf(const std::filesystem::path& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  PKCS7* p7 = f != nullptr ? d2i_PKCS7_fp(f, nullptr) : nullptr;
  if (f != nullptr) std::fclose(f);
  Bytes payload;
  if (p7 != nullptr && PKCS7_type_is_signed(p7) && p7->d.sign->contents != nullptr &&
      PKCS7_type_is_data(p7->d.sign->contents) && p7->d.sign->contents->d.data != nullptr) {
    const ASN1_OCTET_STRING* data = p7->d.sign->contents->d.data;
    payload.assign(data->data, data->data + data->length);
  }
  PKCS7_free(p7);
  return payload;
}

void ParseOf(benchmark::State& state, const Bytes& payload) {
  for (auto _ : state) {
    auto maps = CertTools::parse(payload.data(), static_cast<std::int64_t>(payload.size()));
    benchmark::DoNotOptimize(maps);
  }
}

void BareWalkOf(benchmark::State& state, const Bytes& payload) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(BareWalk(payload.data(), static_cast<long>(payload.size())));
  }
}

void BM_ParseTypical(benchmark::State& state) {
  ParseOf(state, TypicalPayload());
}
BENCHMARK(BM_ParseTypical);

void BM_BareWalkTypical(benchmark::State& state) {
  BareWalkOf(state, TypicalPayload());
}
BENCHMARK(BM_BareWalkTypical);

void BM_ParseLarge(benchmark::State& state) {
  OnLargeReceipt(state, [](benchmark::State& s, const std::filesystem::path& path) {
    ParseOf(s, PayloadOf(path));
  });
}
BENCHMARK(BM_ParseLarge);

void BM_BareWalkLarge(benchmark::State& state) {
  OnLargeReceipt(state, [](benchmark::State& s, const std::filesystem::path& path) {
    BareWalkOf(s, PayloadOf(path));
  });
}
BENCHMARK(BM_BareWalkLarge);

// Parses and bare walks of one payload, a round of each right after the other in every
// iteration, so that both meet the machine at the same speed. Where the machine's speed drifts
// between runs and even within one, the median of the iterations' ratios (parse_per_walk) tells
// the decoder's cost more steadily than the ratio of two cases' medians. The rounds alternate
// which goes first. No time of its own is reported.
void ParseBesideBareWalk(benchmark::State& state, const Bytes& payload) {
  using Clock = std::chrono::steady_clock;
  const auto* data = payload.data();
  const auto size = static_cast<std::int64_t>(payload.size());
  const auto walk = [&] { benchmark::DoNotOptimize(BareWalk(data, static_cast<long>(size))); };
  const auto parse = [&] {
    auto maps = CertTools::parse(data, size);
    benchmark::DoNotOptimize(maps);
  };
  int rounds = 1;
  // Seconds that `rounds` runs of `f` take.
  const auto timed = [&rounds](const auto& f) {
    const auto start = Clock::now();
    for (int i = 0; i < rounds; ++i)
      f();
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  // Rounds of about a millisecond each, sized by walks made after a first one, which meets
  // cold caches.
  walk();
  while (timed(walk) < 1e-3 && rounds < (1 << 20))
    rounds *= 2;
  std::vector<double> ratios;
  bool parseFirst = true;
  for (auto _ : state) {
    double parses = 0;
    double walks = 0;
    if (parseFirst) {
      parses = timed(parse);
      walks = timed(walk);
    } else {
      walks = timed(walk);
      parses = timed(parse);
    }
    parseFirst = !parseFirst;
    ratios.push_back(parses / walks);
  }
  if (!ratios.empty()) {
    std::nth_element(ratios.begin(),
                     ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2), ratios.end());
    state.counters["parse_per_walk"] = ratios[ratios.size() / 2];
  }
}

void BM_ParseBesideBareWalkTypical(benchmark::State& state) {
  ParseBesideBareWalk(state, TypicalPayload());
}
BENCHMARK(BM_ParseBesideBareWalkTypical)->Iterations(101);

// The same for each of the App Store's real receipts beside the checkout, named by its file
// (BM_ParseBesideBareWalk/mac-2015); none where they are absent.
void RegisterParseBesideBareWalkOfRealReceipts() {
  std::error_code ec;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(QM_SHARED_RECEIPTS, ec)) {
    if (entry.path().extension() == ".receipt") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    benchmark::RegisterBenchmark(("BM_ParseBesideBareWalk/" + path.stem().string()).c_str(),
                                 [payload = PayloadOf(path)](benchmark::State& state) {
                                   ParseBesideBareWalk(state, payload);
                                 })
        ->Iterations(101);
  }
}

// ---- The examination beside libcrypto's own verification.

// The bytes of the file at `path`; empty when it can't be read.
Bytes FileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A typical receipt as the store shapes one: RSA keys, a signer issued by an intermediate that
// a root issued, all three carried; with the DER of that root.
struct ChainedReceipt {
  Bytes file;
  Bytes root;
};

const ChainedReceipt& TypicalChainedReceipt() {
  static const ChainedReceipt receipt = [] {
    const TestPki pki;
    return ChainedReceipt{Build(TypicalPayload(), {.pki = &pki}), pki.TrustedRoot()};
  }();
  return receipt;
}

// Apple's root from beside the checkout, where the real receipts lie, for libcrypto's side; the
// examination has it compiled in.
Bytes AppleRoot() {
  return FileBytes(std::filesystem::path(QM_SHARED_RECEIPTS) /
                   "../certs/AppleIncRootCertificate.cer");
}

// The root in a store, with the certificates' dates left out of the verification as the
// examination leaves them out of its chain (the real receipts' signers have expired since).
struct Store {
  X509_STORE* store = X509_STORE_new();
  explicit Store(const Bytes& root) {
    const unsigned char* p = root.data();
    X509* x = d2i_X509(nullptr, &p, static_cast<long>(root.size()));
    if (x != nullptr) X509_STORE_add_cert(store, x);
    X509_free(x);
    X509_VERIFY_PARAM_set_flags(X509_STORE_get0_param(store), X509_V_FLAG_NO_CHECK_TIME);
  }
  ~Store() { X509_STORE_free(store); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
};

// libcrypto alone: the container read, its signature and chain verified against the root, and
// one SHA-1 over the same bytes.
void LibcryptoVerifyOf(benchmark::State& state, const Bytes& file, const Bytes& root) {
  const Store store(root);
  for (auto _ : state) {
    const unsigned char* p = file.data();
    PKCS7* p7 = d2i_PKCS7(nullptr, &p, static_cast<long>(file.size()));
    const int verified = PKCS7_verify(p7, nullptr, store.store, nullptr, nullptr, 0);
    unsigned char md[SHA_DIGEST_LENGTH];
    SHA1(file.data(), file.size(), md);
    PKCS7_free(p7);
    if (verified != 1) state.SkipWithError("libcrypto did not verify the receipt");
    benchmark::DoNotOptimize(md);
  }
}

// The examination as the window makes it, trying one device identifier, against `root`, or
// against Apple's root compiled into the program when `root` is empty (made before the runs, as
// libcrypto's store is).
// `holds`: what the chain's fact must say, as a check that the work measured is the work meant.
void ExamineOf(benchmark::State& state, const Bytes& file, const Bytes& root, bool holds = true) {
  Examination::Options options;
  options.anchor =
      root.empty() ? Examination::TrustAnchor::Apple() : Examination::TrustAnchor::FromDer(root);
  options.identifiers = {*Examination::ParseIdentifier("f8:ff:c2:1e:91:82").identifier};
  if (!options.anchor) state.SkipWithError("the root is no certificate");
  for (auto _ : state) {
    const Examination::Report report = Examination::Examine(file, options);
    if (report.signature.chain.holds != holds)
      state.SkipWithError("the chain's fact is not as meant");
    benchmark::DoNotOptimize(report.receipt.attributes.data());
  }
}

void BM_LibcryptoVerifyTypical(benchmark::State& state) {
  LibcryptoVerifyOf(state, TypicalChainedReceipt().file, TypicalChainedReceipt().root);
}
BENCHMARK(BM_LibcryptoVerifyTypical);

void BM_ExamineTypical(benchmark::State& state) {
  ExamineOf(state, TypicalChainedReceipt().file, TypicalChainedReceipt().root);
}
BENCHMARK(BM_ExamineTypical);

void BM_LibcryptoVerifyLarge(benchmark::State& state) {
  OnLargeReceipt(state, [](benchmark::State& s, const std::filesystem::path& path) {
    LibcryptoVerifyOf(s, FileBytes(path), AppleRoot());
  });
}
BENCHMARK(BM_LibcryptoVerifyLarge);

void BM_ExamineLarge(benchmark::State& state) {
  OnLargeReceipt(state, [](benchmark::State& s, const std::filesystem::path& path) {
    ExamineOf(s, FileBytes(path), {});
  });
}
BENCHMARK(BM_ExamineLarge);

// Hostile certificates, each beside the typical receipt: 10,000 of them, a loop of two CAs that
// issued each other, a signer of 1 MiB. Each is the typical payload signed through a chain of
// `pki`, carrying `certs` `copies` times over.
ChainedReceipt Hostile(const PkiOptions& pki, std::vector<Cert> certs, std::size_t copies) {
  const TestPki chain(pki);
  return {Build(TypicalPayload(), {.pki = &chain, .certs = std::move(certs), .certCopies = copies}),
          chain.TrustedRoot()};
}

void BM_ExamineTenThousandCertificates(benchmark::State& state) {
  static const ChainedReceipt r = Hostile({}, {Cert::Leaf}, 10000);
  ExamineOf(state, r.file, r.root, false);
}
BENCHMARK(BM_ExamineTenThousandCertificates);

// The most certificates that are examined: 64, each decoded.
void BM_ExamineSixtyFourCertificates(benchmark::State& state) {
  static const ChainedReceipt r = Hostile({}, {Cert::Leaf}, 64);
  ExamineOf(state, r.file, r.root, false);
}
BENCHMARK(BM_ExamineSixtyFourCertificates);

void BM_ExamineCertificateLoop(benchmark::State& state) {
  static const ChainedReceipt r =
      Hostile({.issuer = Issuer::Loop}, {Cert::Leaf, Cert::Intermediate, Cert::Root}, 1);
  ExamineOf(state, r.file, r.root, false);
}
BENCHMARK(BM_ExamineCertificateLoop);

void BM_ExamineMebibyteCertificate(benchmark::State& state) {
  static const ChainedReceipt r = Hostile({.leafExtensionBytes = 1 << 20}, {Cert::Leaf}, 1);
  ExamineOf(state, r.file, r.root, false);
}
BENCHMARK(BM_ExamineMebibyteCertificate);

}  // namespace

int main(int argc, char** argv) {
  // glibc's malloc hands memory back to the system once more than M_TRIM_THRESHOLD bytes lie
  // free at the top of its heap, and maps blocks of M_MMAP_THRESHOLD bytes or more on their own;
  // a process that does nothing but examine the large receipt over and over would then fault the
  // same pages in again on every run (a hundred and more each time), which a program that has
  // run a while does not. So both sides of every ratio are measured with the memory kept.
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  RegisterParseBesideBareWalkOfRealReceipts();
  bench::RunWithRatios(&argc, argv,
                       {{"BM_Parse", "BM_BareHeaderWalk"},
                        {"BM_WalkAndCopies", "BM_BareHeaderWalk"},
                        {"BM_Parse", "BM_WalkAndCopies"},
                        {"BM_ReadReceipt", "BM_ContainerParse"},
                        {"BM_ReadReceiptLarge", "BM_ContainerParseLarge"},
                        {"BM_ParseTypical", "BM_BareWalkTypical"},
                        {"BM_ParseLarge", "BM_BareWalkLarge"},
                        {"BM_ExamineTypical", "BM_LibcryptoVerifyTypical"},
                        {"BM_ExamineLarge", "BM_LibcryptoVerifyLarge"},
                        {"BM_ExamineTenThousandCertificates", "BM_ExamineTypical"},
                        {"BM_ExamineSixtyFourCertificates", "BM_ExamineTypical"},
                        {"BM_ExamineCertificateLoop", "BM_ExamineTypical"},
                        {"BM_ExamineMebibyteCertificate", "BM_ExamineTypical"}});
  std::error_code ec;
  std::filesystem::remove(TypicalReceipt(), ec);
  return 0;
}
