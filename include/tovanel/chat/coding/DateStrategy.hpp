#pragma once
// How dates travel in JSON. A decoder and an encoder each have a strategy; the library sets none
// of its own, so a date's form is whatever the caller configured.

#include <functional>
#include <utility>

#include "tovanel/chat/base/Date.hpp"

namespace tovanel::chat {

class Decoder;
class Encoder;

/// The forms a date can take in JSON.
enum class DateStrategyKind : unsigned char {
  deferredToDate,         ///< a number of seconds since the reference date (2001-01-01)
  secondsSince1970,       ///< a number of seconds since 1970-01-01
  millisecondsSince1970,  ///< a number of milliseconds since 1970-01-01
  iso8601,                ///< ISO 8601 date-time text; written in UTC
  custom,                 ///< a function of the caller's
};

/// How a decoder reads dates.
struct DateDecodingStrategy {
  DateStrategyKind kind = DateStrategyKind::deferredToDate;  ///< the form expected
  /// For `custom`: reads a date from the decoder's value; throws DecodingError when it cannot.
  std::function<Date(const Decoder&)> read;

  /// A number of seconds since 2001-01-01T00:00:00Z (the default).
  static DateDecodingStrategy deferredToDate() { return {DateStrategyKind::deferredToDate, {}}; }
  /// A number of seconds since 1970-01-01T00:00:00Z.
  static DateDecodingStrategy secondsSince1970() {
    return {DateStrategyKind::secondsSince1970, {}};
  }
  /// A number of milliseconds since 1970-01-01T00:00:00Z.
  static DateDecodingStrategy millisecondsSince1970() {
    return {DateStrategyKind::millisecondsSince1970, {}};
  }
  /// ISO 8601 date-time text (see Date::fromISO8601); other text is dataCorrupted.
  static DateDecodingStrategy iso8601() { return {DateStrategyKind::iso8601, {}}; }
  /// `read`'s date. A DecodingError it throws fails the decode as it is; any other std::exception
  /// fails it as dataCorrupted at the date's place.
  static DateDecodingStrategy custom(std::function<Date(const Decoder&)> read) {
    return {DateStrategyKind::custom, std::move(read)};
  }
};

/// How an encoder writes dates.
struct DateEncodingStrategy {
  DateStrategyKind kind = DateStrategyKind::deferredToDate;  ///< the form written
  /// For `custom`: writes the date at the encoder's place.
  std::function<void(const Date&, Encoder&)> write;

  /// A number of seconds since 2001-01-01T00:00:00Z (the default).
  static DateEncodingStrategy deferredToDate() { return {DateStrategyKind::deferredToDate, {}}; }
  /// A number of seconds since 1970-01-01T00:00:00Z.
  static DateEncodingStrategy secondsSince1970() {
    return {DateStrategyKind::secondsSince1970, {}};
  }
  /// A number of milliseconds since 1970-01-01T00:00:00Z.
  static DateEncodingStrategy millisecondsSince1970() {
    return {DateStrategyKind::millisecondsSince1970, {}};
  }
  /// ISO 8601 text in UTC (see Date::iso8601); a date outside the years 0000 to 9999 is an
  /// EncodingError.
  static DateEncodingStrategy iso8601() { return {DateStrategyKind::iso8601, {}}; }
  /// Whatever `write` writes at the encoder's place.
  static DateEncodingStrategy custom(std::function<void(const Date&, Encoder&)> write) {
    return {DateStrategyKind::custom, std::move(write)};
  }
};

}  // namespace tovanel::chat
