#include "examination/Json.h"

#include <nlohmann/json.hpp>

#include "examination/Text.h"

namespace Examination {

namespace {

using Json = nlohmann::ordered_json;

// Text as a JSON string when it is UTF-8, else as {"base64": "..."}.
Json Text(std::string_view s) {
  if (text::IsUtf8(s)) return std::string(s);
  Json j = Json::object();
  j["base64"] = text::Base64({reinterpret_cast<const std::uint8_t*>(s.data()), s.size()});
  return j;
}

Json FactJson(const Fact& f) {
  Json j = Json::object();
  j["holds"] = f.holds;
  j["reason"] = Text(f.reason);
  return j;
}

std::string_view KindName(ValueKind kind) {
  switch (kind) {
    case ValueKind::Integer:
      return "integer";
    case ValueKind::Utf8String:
      return "utf8string";
    case ValueKind::Ia5String:
      return "ia5string";
    case ValueKind::Set:
      return "set";
    case ValueKind::Raw:
      break;
  }
  return "bytes";
}

// An attribute's value in Apple's shape: a string, also for numbers and dates.
void PutApple(Json& object, const Attribute* a, std::string_view name) {
  if (a == nullptr) return;
  const std::string key(name);
  switch (a->kind) {
    case ValueKind::Integer:
      object[key] = std::to_string(a->integer);
      return;
    case ValueKind::Utf8String:
    case ValueKind::Ia5String:
      if (a->date && a->date->unixMillis) {
        object[key] = a->date->Utc();
        object[key + "_ms"] = std::to_string(*a->date->unixMillis);
      } else {
        object[key] = Text(a->text);
      }
      return;
    case ValueKind::Set:
    case ValueKind::Raw:
      break;
  }
  object[key] = Text(std::string_view(reinterpret_cast<const char*>(a->raw.data()), a->raw.size()));
}

void PutFlag(Json& object, const Attribute* a, const char* name) {
  if (a == nullptr) return;
  if (a->kind == ValueKind::Integer) {
    object[name] = a->integer != 0 ? "true" : "false";
  } else {
    PutApple(object, a, name);
  }
}

Json Purchase(const Attribute& purchase) {
  Json j = Json::object();
  const auto put = [&](std::int64_t number, const char* name) {
    PutApple(j, purchase.Field(number), name);
  };
  put(Numbers::kQuantity, "quantity");
  put(Numbers::kProductId, "product_id");
  put(Numbers::kTransactionId, "transaction_id");
  put(Numbers::kOriginalTransactionId, "original_transaction_id");
  put(Numbers::kPurchaseDate, "purchase_date");
  put(Numbers::kOriginalPurchaseDate, "original_purchase_date");
  put(Numbers::kSubscriptionExpirationDate, "expires_date");
  put(Numbers::kCancellationDate, "cancellation_date");
  put(Numbers::kWebOrderLineItemId, "web_order_line_item_id");
  PutFlag(j, purchase.Field(Numbers::kTrialPeriod), "is_trial_period");
  PutFlag(j, purchase.Field(Numbers::kIntroductoryOfferPeriod), "is_in_intro_offer_period");
  put(Numbers::kPromotionalOfferId, "promotional_offer_id");
  put(Numbers::kProductType, "product_type");
  return j;
}

Json Receipt(const Contents& c) {
  Json j = Json::object();
  PutApple(j, c.Find(Numbers::kReceiptType), "receipt_type");
  PutApple(j, c.Find(Numbers::kBundleId), "bundle_id");
  PutApple(j, c.Find(Numbers::kApplicationVersion), "application_version");
  PutApple(j, c.Find(Numbers::kOriginalApplicationVersion), "original_application_version");
  PutApple(j, c.Find(Numbers::kCreationDate), "receipt_creation_date");
  PutApple(j, c.Find(Numbers::kExpirationDate), "expiration_date");
  Json inApp = Json::array();
  for (const std::size_t i : c.purchases)
    inApp.push_back(Purchase(c.attributes[i]));
  j["in_app"] = std::move(inApp);
  return j;
}

Json AttributeJson(const Attribute& a) {
  Json j = Json::object();
  j["number"] = a.number;
  j["version"] = a.version;
  if (!a.name.empty()) {
    j["name"] = a.name;
    j["title"] = a.title;
  }
  j["type"] = KindName(a.kind);
  switch (a.kind) {
    case ValueKind::Integer:
      j["value"] = a.integer;
      break;
    case ValueKind::Utf8String:
    case ValueKind::Ia5String:
      j["value"] = Text(a.text);
      break;
    case ValueKind::Set:
    case ValueKind::Raw:
      j["value"] = nullptr;
      break;
  }
  if (a.date) {
    Json d = Json::object();
    d["written"] = Text(a.date->written);
    d["utc"] = a.date->Utc();
    d["unix_ms"] = a.date->unixMillis ? Json(*a.date->unixMillis) : Json(nullptr);
    if (!a.date->problem.empty()) d["problem"] = a.date->problem;
    j["date"] = std::move(d);
  }
  if (a.kind == ValueKind::Set) {
    Json fields = Json::array();
    for (const Attribute& f : a.fields)
      fields.push_back(AttributeJson(f));
    j["fields"] = std::move(fields);
  }
  j["raw"] = text::Hex(a.raw);
  if (!a.problem.empty()) j["problem"] = Text(a.problem);
  return j;
}

Json SignatureJson(const Signature& s) {
  Json j = Json::object();
  j["digest_algorithm"] = Text(s.digestAlgorithm);
  j["content"] = FactJson(s.content);
  j["chain"] = FactJson(s.chain);
  j["valid_at_creation"] = FactJson(s.validAtCreation);
  j["valid_now"] = FactJson(s.validNow);
  j["signer_extension"] = FactJson(s.signerExtension);
  j["intermediate_extension"] = FactJson(s.intermediateExtension);
  j["digest"] = FactJson(s.digest);
  Json errors = Json::array();
  for (const ChainError& e : s.chainErrors) {
    Json error = Json::object();
    error["depth"] = e.depth;
    error["code"] = e.code;
    error["subject"] = Text(e.subject);
    error["text"] = Text(e.text);
    error["line"] = Text(e.Line());
    errors.push_back(std::move(error));
  }
  j["chain_errors"] = std::move(errors);
  return j;
}

Json CertificateJson(const Certificate& c) {
  Json j = Json::object();
  j["role"] = RoleName(c.role);
  j["carried"] = c.carried;
  j["subject"] = Text(c.subject);
  j["subject_common_name"] = Text(c.subjectCommonName);
  j["issuer"] = Text(c.issuer);
  j["issuer_common_name"] = Text(c.issuerCommonName);
  j["serial"] = c.serial;
  j["not_before"] = c.notBefore;
  j["not_after"] = c.notAfter;
  j["signature_algorithm"] = Text(c.signatureAlgorithm);
  j["sha256_fingerprint"] = c.sha256Fingerprint;
  return j;
}

Json DeviceJson(const DeviceCheck& d) {
  Json j = Json::object();
  j["matches"] = FactJson(d.matches);
  if (d.match) {
    Json id = Json::object();
    id["label"] = Text(d.attempts[*d.match].label);
    id["text"] = Text(d.attempts[*d.match].text);
    j["identifier"] = std::move(id);
  } else {
    j["identifier"] = nullptr;
  }
  j["missing"] = d.missing;
  Json attempts = Json::array();
  for (const DeviceAttempt& a : d.attempts) {
    Json attempt = Json::object();
    attempt["label"] = Text(a.label);
    attempt["text"] = Text(a.text);
    attempt["hash"] = a.hash;
    attempt["matches"] = a.matches;
    attempts.push_back(std::move(attempt));
  }
  j["attempts"] = std::move(attempts);
  return j;
}

}  // namespace

std::string ToJson(const Report& report, int indent) {
  Json j = Json::object();
  j["receipt"] = Receipt(report.receipt);
  Json verdict = Json::object();
  verdict["kind"] = VerdictName(report.signature.verdict);
  verdict["summary"] = Text(report.signature.summary);
  j["verdict"] = std::move(verdict);
  Json container = FactJson(report.container);
  container["size"] = report.size;
  j["container"] = std::move(container);
  j["signature"] = SignatureJson(report.signature);
  Json certificates = Json::array();
  for (const Certificate& c : report.certificates)
    certificates.push_back(CertificateJson(c));
  j["certificates"] = std::move(certificates);
  j["device"] = DeviceJson(report.device);
  Json payload = Json::object();
  payload["readable"] = FactJson(report.receipt.readable);
  Json problems = Json::array();
  for (const std::string& p : report.receipt.problems)
    problems.push_back(Text(p));
  payload["problems"] = std::move(problems);
  j["payload"] = std::move(payload);
  Json attributes = Json::array();
  for (const Attribute& a : report.receipt.attributes)
    attributes.push_back(AttributeJson(a));
  j["attributes"] = std::move(attributes);
  return j.dump(indent < 0 ? -1 : indent);
}

}  // namespace Examination
