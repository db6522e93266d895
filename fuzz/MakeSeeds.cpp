// Writes the seed inputs of the fuzz targets: `fuzz_seeds <corpus folder>` makes the folders
// parse/, read_receipt/ and examination/ in it. Payloads cover every branch of the decoder once;
// files cover every shape of container the reader tells apart, and each verdict of the
// examination.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tools/receiptmaker/ReceiptMaker.h"

namespace {

using namespace ReceiptMaker;
namespace fs = std::filesystem;

std::vector<std::pair<std::string, Bytes>> Payloads() {
  const Bytes typical = TypicalPayload();
  return {
      {"typical", typical},
      {"two-sets", Concat(typical, Payload({{3, 1, IntValue(-7)}}))},
      {"set-then-sequence", Concat(typical, Sequence({}))},
      {"empty-set", Set({})},
      {"trailing-bytes-in-value", Payload({{8, 1, HexValue("020105FFFF")}})},
      {"negative-tag", Payload({{9, 1, HexValue("1F820201 05")}})},
      {"nine-byte-integer", Payload({{10, 1, HexValue("0209010203040506070809")}})},
      {"context-tags", Payload({{11, 1, HexValue("820105")}, {12, 1, HexValue("8C0141")}})},
      {"empty-values", Payload({{13, 1, HexValue("0C00")}, {14, 1, Bytes{}}})},
      {"duplicates", Payload({{2, 1, Utf8Value("a")}, {2, 1, HexValue("1300")}})},
      // clang-format off
      {"fourth-field", Set(Sequence(Concat(Integer(3), Integer(1), OctetString(IntValue(5)), Integer(99))))},
      {"non-record", Set(Concat(Record(2, 1, Utf8Value("x")), Integer(4), Record(3, 1, IntValue(1))))},
      // clang-format on
      {"overrun", Set(FromHex("30847FFFFFFF020102"))},
      {"indefinite", Set(FromHex("3080020102020101040302010500 00"))},
      {"skipped-numbers", Payload({{1, 1, IntValue(1)}, {6, 1, IntValue(6)}})},
  };
}

std::vector<std::pair<std::string, Bytes>> Files(
    const std::vector<std::pair<std::string, Bytes>>& payloads) {
  std::vector<std::pair<std::string, Bytes>> files;
  for (const auto& [name, payload] : payloads)
    files.emplace_back(name, Sign(payload));
  const Bytes& typical = payloads.front().second;
  files.insert(files.end(), {{"outer-data", Sign(typical, Shape::OuterData)},
                             {"inner-not-data", Sign(typical, Shape::InnerNotData)},
                             {"detached", Sign(typical, Shape::Detached)},
                             {"empty-payload", Sign({})},
                             {"not-a-set", Sign(Integer(5))},
                             {"truncated", Build(typical, Options{Shape::Receipt, 200})},
                             {"not-der", FromHex("89504E470D0A1A0A")}});
  return files;
}

// Receipts signed through the test chain, and as the store and Xcode sign them.
std::vector<std::pair<std::string, Bytes>> Examined() {
  const std::string receipt = R"(
    attr 2 1 utf8 "com.example.quellmark"
    attr 4 1 hex 88a27b6db492f29c9cdd0d8f67bd8b97
    attr 12 1 ia5 "2024-06-01T10:00:00Z"
    attr 17 1 iap
      attr 1702 1 utf8 "com.example.coins"
      attr 1712 1 ia5 ""
    end
    device-hash f8ffc21e9182
  )";
  return {{"genuine", BuildFromText(receipt + "chain test-root")},
          {"expired-sha1", BuildFromText(receipt + "chain test-root\ndigest sha1\n"
                                                   "valid leaf 2024-01-01T00:00:00Z now-1d")},
          {"tampered", BuildFromText(receipt + "chain test-root\ntamper content")},
          {"foreign-root", BuildFromText(receipt + "chain other-root\nkey ec-p256")},
          {"no-oid", BuildFromText(receipt + "chain test-root\nno-oid leaf\ncerts leaf")},
          {"storekit", BuildFromText(receipt + "chain storekit\nindefinite")},
          {"chained-ber", BuildFromText(receipt + "chain test-root\nkey ec-p256\nindefinite")},
          {"loop", BuildFromText(receipt + "chain loop\nkey ec-p256")},
          {"detached", Sign(Payload({{2, 1, Utf8Value("a")}}), Shape::Detached)}};
}

void Write(const fs::path& folder, const std::vector<std::pair<std::string, Bytes>>& items) {
  fs::create_directories(folder);
  for (const auto& [name, bytes] : items)
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: fuzz_seeds CORPUS_FOLDER\n"), 2;
  const auto payloads = Payloads();
  Write(fs::path(argv[1]) / "parse", payloads);
  Write(fs::path(argv[1]) / "read_receipt", Files(payloads));
  Write(fs::path(argv[1]) / "examination", Examined());
  return 0;
}
