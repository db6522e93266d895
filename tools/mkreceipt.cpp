// quellmark-mkreceipt [--root-out ROOT.pem] DESCRIPTION.txt OUT.receipt
//
// Builds the receipt file that a description in ReceiptMaker's text format describes. Either
// name may be "-" for standard input or output. With --root-out, also writes as PEM the root
// certificate that the description's chain is to be verified against. Exits 0 on success, 1 if
// the description or a file cannot be read, built or written (with the reason on standard
// error), 2 on bad arguments.

#include "tools/receiptmaker/ReceiptMaker.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

constexpr const char* kUsage =
    "usage: quellmark-mkreceipt [--root-out ROOT.pem] DESCRIPTION.txt OUT.receipt\n"
    "Builds a receipt file from a text description (see tools/README.md).\n"
    "Either name may be - for standard input or output. --root-out writes the root\n"
    "certificate that a description with a chain line verifies against.\n";

int Failure(const std::string& message) {
  std::cerr << "quellmark-mkreceipt: " << message << '\n';
  return 1;
}

// The certificate of der as PEM in a new file of that name.
bool WritePem(const std::string& name, const ReceiptMaker::Bytes& der) {
  const unsigned char* cursor = der.data();
  X509* cert = d2i_X509(nullptr, &cursor, static_cast<long>(der.size()));
  FILE* file = cert != nullptr ? std::fopen(name.c_str(), "wb") : nullptr;
  bool written = file != nullptr && PEM_write_X509(file, cert) == 1;
  if (file != nullptr) written = std::fclose(file) == 0 && written;
  X509_free(cert);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (std::string_view(argv[1]) == "-h" || std::string_view(argv[1]) == "--help")) {
    std::cout << kUsage;
    return 0;
  }
  std::string rootName;
  if (argc == 5 && std::string_view(argv[1]) == "--root-out") {
    rootName = argv[2];
    argv += 2;
    argc -= 2;
  }
  if (argc != 3 || std::string_view(argv[1]).empty() || std::string_view(argv[2]).empty() ||
      (rootName.empty() && std::string_view(argv[1]) == "--root-out")) {
    std::cerr << kUsage;
    return 2;
  }
  const std::string inputName = argv[1];
  const std::string outputName = argv[2];

  std::string description;
  if (inputName == "-") {
    description.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    if (std::cin.bad()) return Failure("cannot read standard input");
  } else {
    std::ifstream input(inputName, std::ios::binary);
    if (!input) return Failure("cannot open " + inputName);
    description.assign(std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>());
    if (input.bad()) return Failure("cannot read " + inputName);
  }

  ReceiptMaker::Bytes file;
  ReceiptMaker::Bytes root;
  try {
    file = ReceiptMaker::BuildFromText(description, &root);
  } catch (const std::exception& error) {
    return Failure(inputName + ": " + error.what());
  }
  if (!rootName.empty()) {
    if (root.empty()) return Failure(inputName + ": --root-out needs a chain line");
    if (!WritePem(rootName, root)) return Failure("cannot write " + rootName);
  }

  // Opened only now, so a description with a mistake leaves no file behind.
  const auto* bytes = reinterpret_cast<const char*>(file.data());
  const auto size = static_cast<std::streamsize>(file.size());
  if (outputName == "-") {
    if (!std::cout.write(bytes, size).flush()) return Failure("cannot write standard output");
  } else {
    std::ofstream output(outputName, std::ios::binary | std::ios::trunc);
    if (!output) return Failure("cannot create " + outputName);
    output.write(bytes, size);
    output.close();
    if (!output) return Failure("cannot write " + outputName);
  }
  return 0;
}
