#pragma once
// How dates travel in JSON. A decoder and an encoder each have a strategy; the library sets none
// of its own, so a date's form is whatever the caller configured.

#include <functional>
#include <utility>

#include "tovanel/chat/base/Date.hpp"

namespace tovanel::chat {

class Decoder;
class Encoder;

enum class DateStrategyKind : unsigned char {
  deferredToDate,         ///< a number of seconds since the reference date (2001-01-01)
  secondsSince1970,       ///< a number of seconds since 1970-01-01
  millisecondsSince1970,  ///< a number of milliseconds since 1970-01-01
  iso8601,                ///< ISO 8601 date-time text; written in UTC
  custom,                 ///< a function of the caller's
};

struct DateDecodingStrategy {
  DateStrategyKind kind = DateStrategyKind::deferredToDate;
  /// For `custom`: reads a date from the decoder's value; throws DecodingError when it cannot.
  std::function<Date(const Decoder&)> read;

  static DateDecodingStrategy deferredToDate() { return {DateStrategyKind::deferredToDate, {}}; }
  static DateDecodingStrategy secondsSince1970() {
    return {DateStrategyKind::secondsSince1970, {}};
  }
  static DateDecodingStrategy millisecondsSince1970() {
    return {DateStrategyKind::millisecondsSince1970, {}};
  }
  static DateDecodingStrategy iso8601() { return {DateStrategyKind::iso8601, {}}; }
  static DateDecodingStrategy custom(std::function<Date(const Decoder&)> read) {
    return {DateStrategyKind::custom, std::move(read)};
  }
};

struct DateEncodingStrategy {
  DateStrategyKind kind = DateStrategyKind::deferredToDate;
  /// For `custom`: writes the date at the encoder's place.
  std::function<void(const Date&, Encoder&)> write;

  static DateEncodingStrategy deferredToDate() { return {DateStrategyKind::deferredToDate, {}}; }
  static DateEncodingStrategy secondsSince1970() {
    return {DateStrategyKind::secondsSince1970, {}};
  }
  static DateEncodingStrategy millisecondsSince1970() {
    return {DateStrategyKind::millisecondsSince1970, {}};
  }
  static DateEncodingStrategy iso8601() { return {DateStrategyKind::iso8601, {}}; }
  static DateEncodingStrategy custom(std::function<void(const Date&, Encoder&)> write) {
    return {DateStrategyKind::custom, std::move(write)};
  }
};

}  // namespace tovanel::chat
