// The decoding views over simdjson's DOM. This file and JSONDecoder.cpp are the only ones that
// know the parser; everything else sees Decoder and its containers.

#include "tovanel/chat/coding/Decoder.hpp"

#include <simdjson.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat {

namespace {
using simdjson::dom::element;
using simdjson::dom::element_type;

static_assert(sizeof(element) == sizeof(coding::JsonRef));
static_assert(std::is_trivially_copyable_v<element>);

element toElement(coding::JsonRef ref) noexcept { return std::bit_cast<element>(ref); }

std::string formatNumber(double number) {
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
  return std::string(buffer, result.ptr);
}
}  // namespace

std::string_view describe(JsonType type) noexcept {
  switch (type) {
    case JsonType::null:
      return "null";
    case JsonType::boolean:
      return "a boolean";
    case JsonType::integer:
      return "an integer";
    case JsonType::number:
      return "a number";
    case JsonType::string:
      return "a string";
    case JsonType::array:
      return "an array";
    case JsonType::object:
      return "an object";
  }
  return "a value";
}

CodingPath coding::pathOf(const PathLink& link) {
  std::size_t depth = 0;
  for (const PathLink* l = &link; l->parent != nullptr; l = l->parent) ++depth;
  CodingPath path(depth);
  for (const PathLink* l = &link; l->parent != nullptr; l = l->parent) {
    const auto& step = l->step;
    path[--depth] =
        step.key != nullptr
            ? CodingKey::key(std::string(step.key, step.keySizeOrIndex))
            : CodingKey::index(static_cast<int>(step.keySizeOrIndex));
  }
  return path;
}

// ---- DecodingRun ----

void DecodingRun::rethrow() {
  std::exception_ptr error = std::move(error_);
  const bool quietFailure = !error;
  clearError();
  if (quietFailure) {
    throw DecodingError(DecodingError::Kind::dataCorrupted, {}, "the value could not be decoded");
  }
  std::rethrow_exception(error);
}

void DecodingRun::clearError() noexcept {
  failed_ = false;
  error_ = nullptr;
  description_.clear();
}

void DecodingRun::fail(std::exception_ptr error, std::string description) {
  failed_ = true;
  error_ = std::move(error);
  description_ = std::move(description);
}

const coding::PathLink* DecodingRun::pinned(const coding::PathLink& link) {
  static const coding::PathLink kRoot{};
  if (link.parent == nullptr) return &kRoot;
  PinnedLink& node = pinned_.emplace_front();
  node.link.parent = pinned(*link.parent);
  node.link.step = link.step;
  if (link.step.key != nullptr) {
    node.key.assign(link.step.key, link.step.keySizeOrIndex);
    node.link.step.key = node.key.data();
  }
  return &node.link;
}

// ---- Decoder ----

const UserInfo& Decoder::userInfo() const noexcept { return run_->owner().userInfo; }

CodingPath Decoder::codingPath() const { return coding::pathOf(link_); }

JsonType Decoder::type() const noexcept {
  switch (toElement(value_).type()) {
    case element_type::NULL_VALUE:
      return JsonType::null;
    case element_type::BOOL:
      return JsonType::boolean;
    case element_type::INT64:
    case element_type::UINT64:
      return JsonType::integer;
    case element_type::DOUBLE:
      return JsonType::number;
    case element_type::STRING:
      return JsonType::string;
    case element_type::ARRAY:
      return JsonType::array;
    case element_type::OBJECT:
      return JsonType::object;
  }
  return JsonType::null;
}

bool Decoder::fail(DecodingError::Kind kind, std::string_view message) const {
  if (run_->quiet_ > 0) {
    run_->failed_ = true;  // the caller discards it: no need to build the error
    return false;
  }
  DecodingError error(kind, codingPath(), std::string(message));
  std::string description = error.what();
  run_->fail(std::make_exception_ptr(std::move(error)), std::move(description));
  return false;
}

bool Decoder::failExpecting(std::string_view what) const {
  const JsonType found = type();
  if (run_->quiet_ > 0) return fail(DecodingError::Kind::typeMismatch, {});
  std::string message = "expected ";
  message += what;
  message += ", found ";
  message += describe(found);
  return fail(found == JsonType::null ? DecodingError::Kind::valueNotFound
                                      : DecodingError::Kind::typeMismatch,
              message);
}

bool Decoder::read(std::string_view& out) const {
  if (toElement(value_).get_string().get(out) != simdjson::SUCCESS) {
    return failExpecting("a string");
  }
  return true;
}

bool Decoder::read(std::string& out) const {
  std::string_view text;
  if (!read(text)) return false;
  out.assign(text);
  return true;
}

bool Decoder::read(std::int64_t& out) const {
  const element value = toElement(value_);
  switch (value.type()) {
    case element_type::INT64:
      out = value.get_int64().value_unsafe();
      return true;
    case element_type::UINT64:
      return fail(DecodingError::Kind::dataCorrupted,
                  "the number " + std::to_string(value.get_uint64().value_unsafe()) +
                      " does not fit in a signed 64-bit integer");
    case element_type::DOUBLE: {
      const double number = value.get_double().value_unsafe();
      // Whole numbers written with a fraction or an exponent (5.0, 1e2) read as integers.
      if (std::trunc(number) == number && number >= -9223372036854775808.0 &&
          number < 9223372036854775808.0) {
        out = static_cast<std::int64_t>(number);
        return true;
      }
      const bool whole = std::trunc(number) == number;
      return fail(DecodingError::Kind::dataCorrupted,
                  "the number " + formatNumber(number) +
                      (whole ? " does not fit in a signed 64-bit integer"
                             : " is not a whole number"));
    }
    default:
      return failExpecting("an integer");
  }
}

bool Decoder::read(double& out) const {
  const element value = toElement(value_);
  switch (value.type()) {
    case element_type::INT64:
      out = static_cast<double>(value.get_int64().value_unsafe());
      return true;
    case element_type::UINT64:
      out = static_cast<double>(value.get_uint64().value_unsafe());
      return true;
    case element_type::DOUBLE:
      out = value.get_double().value_unsafe();
      return true;
    default:
      return failExpecting("a number");
  }
}

bool Decoder::read(bool& out) const {
  if (toElement(value_).get_bool().get(out) != simdjson::SUCCESS) {
    return failExpecting("a boolean");
  }
  return true;
}

std::optional<KeyedDecodingContainer> Decoder::keyedContainer() const {
  if (toElement(value_).type() != element_type::OBJECT) {
    failExpecting("an object");
    return std::nullopt;
  }
  return KeyedDecodingContainer(*this);
}

std::optional<UnkeyedDecodingContainer> Decoder::arrayContainer() const {
  simdjson::dom::array array;
  if (toElement(value_).get_array().get(array) != simdjson::SUCCESS) {
    failExpecting("an array");
    return std::nullopt;
  }
  std::size_t count = array.size();
  if (count == 0xFFFFFF) {  // the tape saturates its count: count the long array by hand
    count = 0;
    for ([[maybe_unused]] element child : array) ++count;
  }
  return UnkeyedDecodingContainer(*this, count, value_.index + 1);
}

KeyedDecodingContainer Decoder::container() const {
  auto container = keyedContainer();
  if (!container) run_->rethrow();
  return *container;
}

UnkeyedDecodingContainer Decoder::unkeyedContainer() const {
  auto container = arrayContainer();
  if (!container) run_->rethrow();
  return *container;
}

SingleValueDecodingContainer Decoder::singleValueContainer() const {
  return SingleValueDecodingContainer(*this);
}

// ---- KeyedDecodingContainer ----

KeyedDecodingContainer::KeyedDecodingContainer(const Decoder& self) noexcept : self_(self) {
  const simdjson::dom::object object = toElement(self_.value_).get_object().value_unsafe();
  std::size_t count = 0;
  for (const auto field : object) {
    const std::size_t valueIndex = std::bit_cast<coding::JsonRef>(field.value).index;
    bool repeated = false;
    for (std::size_t i = 0; i < count; ++i) {
      Member& known = members_[i];
      if (known.keySize == field.key.size() &&
          std::memcmp(known.key, field.key.data(), field.key.size()) == 0) {
        known.valueIndex = valueIndex;  // the last duplicate wins
        repeated = true;
        break;
      }
    }
    if (repeated) continue;
    if (count == kIndexedMembers) return;  // too many to index: lookups walk the object
    members_[count++] = Member{field.key.data(), field.key.size(), valueIndex};
  }
  memberCount_ = count;
  indexed_ = true;
}

Decoder KeyedDecodingContainer::member(std::size_t valueIndex, std::string_view key) const noexcept {
  return Decoder(coding::JsonRef{self_.value_.document, valueIndex}, self_.run(), self_,
                 coding::PathStep{key.data(), key.size()});
}

std::optional<Decoder> KeyedDecodingContainer::find(std::string_view key) const noexcept {
  if (!indexed_) return scan(key);
  std::size_t i = hint_;
  for (std::size_t step = 0; step < memberCount_; ++step) {
    if (i >= memberCount_) i = 0;
    const Member& candidate = members_[i++];
    if (candidate.keySize == key.size() &&
        std::memcmp(candidate.key, key.data(), key.size()) == 0) {
      hint_ = i;
      return member(candidate.valueIndex, key);
    }
  }
  return std::nullopt;
}

std::optional<Decoder> KeyedDecodingContainer::scan(std::string_view key) const noexcept {
  const simdjson::dom::object object = toElement(self_.value_).get_object().value_unsafe();
  std::optional<std::size_t> found;
  for (const auto field : object) {
    if (field.key == key) found = std::bit_cast<coding::JsonRef>(field.value).index;
  }
  if (!found) return std::nullopt;
  return member(*found, key);
}

bool KeyedDecodingContainer::failKeyNotFound(std::string_view key) const {
  const Decoder missing(self_.value_, self_.run(), self_, coding::PathStep{key.data(), key.size()});
  std::string message = "no value for the key \"";
  message += key;
  message += '"';
  return missing.fail(DecodingError::Kind::keyNotFound, message);
}

std::vector<std::string> KeyedDecodingContainer::allKeys() const {
  std::vector<std::string> keys;
  const simdjson::dom::object object = toElement(self_.value_).get_object().value_unsafe();
  for (const auto field : object) {
    keys.emplace_back(field.key);
  }
  return keys;
}

bool KeyedDecodingContainer::decodeNil(std::string_view key) const {
  return nestedDecoder(key).isNull();
}

Decoder KeyedDecodingContainer::nestedDecoder(std::string_view key) const {
  auto value = find(key);
  if (!value) {
    failKeyNotFound(key);
    self_.run().rethrow();
  }
  // The result may outlive this container (decoder.container().nestedDecoder("k")), so its path
  // must not point into it.
  value->link_ = *self_.run().pinned(value->link_);
  return *value;
}

// ---- UnkeyedDecodingContainer ----

Decoder UnkeyedDecodingContainer::next() noexcept {
  const coding::JsonRef ref{self_.value_.document, cursor_};
  const Decoder element(ref, self_.run(), self_, coding::PathStep{nullptr, index_});
  cursor_ = simdjson::internal::tape_ref(
                static_cast<const simdjson::dom::document*>(ref.document), cursor_)
                .after_element();
  ++index_;
  return element;
}

// ---- raw values ----

bool coding::failInvalidRawValue(const Decoder& decoder, std::string_view typeName,
                                 std::string_view text) {
  std::string message = "cannot initialize ";
  message += typeName;
  message += " from invalid raw value \"";
  message += text;
  message += '"';
  return decoder.fail(DecodingError::Kind::dataCorrupted, message);
}

}  // namespace tovanel::chat
