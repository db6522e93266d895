#pragma once

// The walk over a receipt's payload that CertTools::parse runs: the SETs of attribute records,
// each record taken into the map of its SET. Only the receipts library includes this header.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/toolkit/Dictionary.h"
#include "receipts/LibCrypto.h"

namespace CertTools {

// The maps of the SETs in the `size` bytes at `data`, read with the header reader `read`: one
// for each SET that yielded an entry, in order. Nullopt when an object other than a SET stands
// at the top level. What `read` raises goes through. Reads no byte outside the payload.
std::optional<std::vector<toolkit::Ref<toolkit::Dictionary>>> WalkPayload(
    const std::uint8_t* data, std::size_t size, LibCrypto::ASN1_get_object::Type read);

}  // namespace CertTools
