# Writes a C++ source that holds a certificate's DER bytes, after checking their SHA-256
# fingerprint, so that a program never reads its trust anchor from disk. Run as
#   cmake -DIN=<cert.der> -DOUT=<source.cpp> -DSHA256=<64 hex digits> -P EmbedCertificate.cmake
cmake_minimum_required(VERSION 3.25)

file(SHA256 "${IN}" actual)
string(TOUPPER "${actual}" actual)
string(TOUPPER "${SHA256}" expected)
if(NOT actual STREQUAL expected)
  message(FATAL_ERROR "${IN} has the SHA-256 fingerprint ${actual}, not ${expected}: "
                      "it is not the root certificate the program trusts")
endif()

file(READ "${IN}" hex HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "((0x..,){16})" "\\1\n    " bytes "${bytes}")
file(WRITE "${OUT}.tmp"
"// Made by examination/EmbedCertificate.cmake from ${IN}; SHA-256 ${expected}.
#include \"examination/Internal.h\"

namespace Examination::detail {

namespace {
constexpr std::uint8_t kRoot[] = {
    ${bytes}};
}  // namespace

std::span<const std::uint8_t> AppleRootDer() {
  return kRoot;
}

}  // namespace Examination::detail
")
file(COPY_FILE "${OUT}.tmp" "${OUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUT}.tmp")
