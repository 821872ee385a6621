#pragma once
// Row checks shared by the record tests: pairs of values whose equality and hash must agree, and
// public key sets made from text.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/CodingOutcome.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/coding/CodingKeys.hpp"

namespace tovanel::chat::test {

/// A change to a valid object and what decoding the changed object gives.
struct EditCase {
  std::string_view name;
  std::vector<MemberEdit> edits;
  std::string_view outcome;
};

template <class T>
void expectOutcome(const Members& valid, const EditCase& row) {
  EXPECT_EQ(decodingOutcome<T>(objectWith(valid, row.edits)), row.outcome) << row.name;
}

/// Two JSON texts of one record and whether the values they decode to are equal.
struct EqualityCase {
  std::string_view name;
  std::string_view first;
  std::string_view second;
  bool equal;
};

/// The values compare as the row says, both ways round, and equal values hash alike.
template <class T>
void expectEquality(const EqualityCase& row) {
  SCOPED_TRACE(std::string(row.name));
  const T first = decodeJson<T>(row.first);
  const T second = decodeJson<T>(row.second);
  EXPECT_EQ(first == second, row.equal);
  EXPECT_EQ(second == first, row.equal);
  if (row.equal) {
    EXPECT_EQ(first.hashValue(), second.hashValue());
  }
}

/// A text and the key it makes (nothing when it is no key).
template <class K>
struct KeyFromText {
  std::string_view text;
  std::optional<K> key;
};

/// The text makes the row's key, and a key made from text gives that text back as its string
/// value and has no integer form.
template <class K>
void expectKeyFromText(const KeyFromText<K>& row) {
  SCOPED_TRACE("key text \"" + std::string(row.text) + "\"");
  const std::optional<K> key = fromRawValue<K>(row.text);
  EXPECT_EQ(key, row.key);
  if (key) {
    EXPECT_EQ(stringValue(*key), row.text);
    EXPECT_EQ(intValue(*key), std::nullopt);
  }
}

}  // namespace tovanel::chat::test
