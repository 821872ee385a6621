#pragma once
// A request was created in a room (a request to go live): the request record with its
// identifiers, state, times, version and a small metadata object.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/CodingKeys.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The event "room_request_created": a request to go live.
struct RoomRequestCreatedInfoBody : coding::Record<RoomRequestCreatedInfoBody> {
  static constexpr InfoType kind = InfoType::roomRequestCreated;  ///< the event's kind

  /// The request. Its fields are set by the constructor or by decoding and never change after.
  /// Dates travel in whatever form the decoder's and encoder's date strategies give them.
  class Request : public coding::Record<Request> {
   public:
    /// Extra facts about the request.
    class Metadata : public coding::Record<Metadata> {
     public:
      /// Metadata with its count.
      explicit Metadata(std::optional<std::int64_t> previouslyAcceptedCount)
          : previouslyAcceptedCount_(previouslyAcceptedCount) {}

      /// How many of the user's requests were accepted before.
      const std::optional<std::int64_t>& previouslyAcceptedCount() const noexcept {
        return previouslyAcceptedCount_;
      }

     private:
      friend struct coding::Access;
      explicit Metadata(coding::detail::Unfilled) {}
      static constexpr auto codingFields() {
        return std::tuple{
            coding::optionalKey("previouslyAcceptedCount", &Metadata::previouslyAcceptedCount_)};
      }
      std::optional<std::int64_t> previouslyAcceptedCount_;
    };

    /// The public key set; `id` travels as "_id", `version` as "__v", `appID` as "appId".
    enum class CodingKeys : std::uint8_t {
      id,
      room,
      type,
      user,
      version,
      appID,
      createdAt,
      isInvite,
      state,
      updatedAt,
      metadata,
    };

    /// A request with every field, in declaration order.
    Request(std::optional<std::string> id, std::optional<std::string> room,
            std::optional<std::string> type, std::optional<std::string> user,
            std::optional<std::int64_t> version, std::optional<std::string> appID,
            std::optional<Date> createdAt, std::optional<bool> isInvite,
            std::optional<std::string> state, std::optional<Date> updatedAt,
            std::optional<Metadata> metadata)
        : id_(std::move(id)),
          room_(std::move(room)),
          type_(std::move(type)),
          user_(std::move(user)),
          version_(version),
          appID_(std::move(appID)),
          createdAt_(createdAt),
          isInvite_(isInvite),
          state_(std::move(state)),
          updatedAt_(updatedAt),
          metadata_(std::move(metadata)) {}

    /// The request's identifier ("_id").
    const std::optional<std::string>& id() const noexcept { return id_; }
    const std::optional<std::string>& room() const noexcept { return room_; }
    /// The request's own type, free text; unrelated to the event's kind.
    const std::optional<std::string>& type() const noexcept { return type_; }
    /// The requesting user's identifier.
    const std::optional<std::string>& user() const noexcept { return user_; }
    /// The record's version ("__v").
    const std::optional<std::int64_t>& version() const noexcept { return version_; }
    /// The application's identifier ("appId").
    const std::optional<std::string>& appID() const noexcept { return appID_; }
    /// When the request was made.
    const std::optional<Date>& createdAt() const noexcept { return createdAt_; }
    /// Whether the request is an invitation.
    const std::optional<bool>& isInvite() const noexcept { return isInvite_; }
    /// The request's state, as the service words it.
    const std::optional<std::string>& state() const noexcept { return state_; }
    /// When the request last changed.
    const std::optional<Date>& updatedAt() const noexcept { return updatedAt_; }
    /// Extra facts.
    const std::optional<Metadata>& metadata() const noexcept { return metadata_; }

   private:
    friend struct coding::Access;
    explicit Request(coding::detail::Unfilled) {}
    static constexpr auto codingFields() {
      return std::tuple{coding::optionalKey("_id", &Request::id_),
                        coding::optionalKey("room", &Request::room_),
                        coding::optionalKey("type", &Request::type_),
                        coding::optionalKey("user", &Request::user_),
                        coding::optionalKey("__v", &Request::version_),
                        coding::optionalKey("appId", &Request::appID_),
                        coding::optionalKey("createdAt", &Request::createdAt_),
                        coding::optionalKey("isInvite", &Request::isInvite_),
                        coding::optionalKey("state", &Request::state_),
                        coding::optionalKey("updatedAt", &Request::updatedAt_),
                        coding::optionalKey("metadata", &Request::metadata_)};
    }

    std::optional<std::string> id_;
    std::optional<std::string> room_;
    std::optional<std::string> type_;
    std::optional<std::string> user_;
    std::optional<std::int64_t> version_;
    std::optional<std::string> appID_;
    std::optional<Date> createdAt_;
    std::optional<bool> isInvite_;
    std::optional<std::string> state_;
    std::optional<Date> updatedAt_;
    std::optional<Metadata> metadata_;
  };

  std::optional<InfoType> type;  ///< the event's "type"
  std::optional<Request> request;

  /// An event with every field.
  RoomRequestCreatedInfoBody(std::optional<InfoType> typeValue, std::optional<Request> requestValue)
      : type(typeValue), request(std::move(requestValue)) {}

 private:
  friend struct coding::Access;
  explicit RoomRequestCreatedInfoBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::optionalKey("type", &RoomRequestCreatedInfoBody::type),
                      coding::optionalKey("request", &RoomRequestCreatedInfoBody::request)};
  }
};

/// The JSON keys of the request, from its field table.
template <>
struct RawValues<RoomRequestCreatedInfoBody::Request::CodingKeys> {
  /// As errors name it.
  static constexpr std::string_view typeName = "RoomRequestCreatedInfoBody.Request.CodingKeys";
  /// In key order.
  static constexpr auto values = coding::keysOf<RoomRequestCreatedInfoBody::Request>();
};

}  // namespace tovanel::chat
