#pragma once
// What a command decodes (a body of a kind, and later users and events), behind one interface so
// that `body`, `equal` and their siblings work the same for every subject.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat::tool {

/// A decoded value of any subject: its JSON, its equality and its hash.
class DecodedValue {
 public:
  template <class T>
  explicit DecodedValue(T value) : self_(std::make_shared<Model<T>>(std::move(value))) {}

  std::string json() const { return self_->json(); }
  bool operator==(const DecodedValue& other) const { return self_->equals(*other.self_); }
  std::uint64_t hashValue() const { return self_->hashValue(); }

 private:
  struct Concept {
    virtual ~Concept() = default;
    virtual std::string json() const = 0;
    virtual bool equals(const Concept& other) const = 0;
    virtual std::uint64_t hashValue() const = 0;
  };
  template <class T>
  struct Model final : Concept {
    explicit Model(T v) : value(std::move(v)) {}
    std::string json() const override { return JSONEncoder().encode(value); }
    bool equals(const Concept& other) const override {
      const auto* same = dynamic_cast<const Model*>(&other);
      return same != nullptr && value == same->value;
    }
    std::uint64_t hashValue() const override { return value.hashValue(); }
    T value;
  };
  std::shared_ptr<const Concept> self_;
};

/// Decodes one JSON text as the subject with `decoder` (fresh, its limits and sink set by the
/// command), the way an application would.
using Subject = std::function<DecodedValue(JSONDecoder& decoder, std::string_view json)>;

/// The subject for `--type KIND`: a body decoded through the body-type box holding KIND.
/// UsageError, listing the kinds, for a word that is no body kind.
Subject bodySubject(const std::string& kindWord);

/// The subject of `user` and `equal --user`: a ChatMessageUser.
Subject userSubject();

/// The subject of `info` and `equal --info`: one system event, decoded directly with a decoder
/// prepared for body decoding whose box is empty.
Subject infoSubject();

}  // namespace tovanel::chat::tool
