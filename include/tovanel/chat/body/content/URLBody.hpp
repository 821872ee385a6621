#pragma once
// The payload of a message that shares a web link with its preview: the message text, the link
// as sent and as resolved, the page's title and description, and optionally a preview picture and
// the site's icon. The record is read-only once built.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind url: a link with its preview.
struct URLBody : coding::Record<URLBody> {
  static constexpr BodyType kind = BodyType::url;  ///< the body kind of this payload

  /// The public key set; `originalURL` travels as "originalUrl" and `urlDescription` as
  /// "description".
  enum class CodingKeys : std::uint8_t {
    text,
    originalURL,
    url,
    title,
    urlDescription,
    image,
    favicon,
  };

  /// An absent picture and a present one with no fields are different values.
  URLBody(std::string text, std::string originalURL, std::string url, std::string title,
          std::string urlDescription, std::optional<Image> image, std::optional<Image> favicon)
      : text_(std::move(text)),
        originalURL_(std::move(originalURL)),
        url_(std::move(url)),
        title_(std::move(title)),
        urlDescription_(std::move(urlDescription)),
        image_(std::move(image)),
        favicon_(std::move(favicon)) {}

  const std::string& text() const noexcept { return text_; }
  /// The link as sent.
  const std::string& originalURL() const noexcept { return originalURL_; }
  /// The link as resolved.
  const std::string& url() const noexcept { return url_; }
  const std::string& title() const noexcept { return title_; }
  const std::string& urlDescription() const noexcept { return urlDescription_; }
  const std::optional<Image>& image() const noexcept { return image_; }
  /// The site's icon.
  const std::optional<Image>& favicon() const noexcept { return favicon_; }

 private:
  friend struct coding::Access;
  explicit URLBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::requiredKey("text", &URLBody::text_),
                      coding::requiredKey("originalUrl", &URLBody::originalURL_),
                      coding::requiredKey("url", &URLBody::url_),
                      coding::requiredKey("title", &URLBody::title_),
                      coding::requiredKey("description", &URLBody::urlDescription_),
                      coding::optionalKey("image", &URLBody::image_),
                      coding::optionalKey("favicon", &URLBody::favicon_)};
  }

  std::string text_;
  std::string originalURL_;
  std::string url_;
  std::string title_;
  std::string urlDescription_;
  std::optional<Image> image_;
  std::optional<Image> favicon_;
};

/// The JSON keys of URLBody, from its field table.
template <>
struct RawValues<URLBody::CodingKeys> {
  static constexpr std::string_view typeName = "URLBody.CodingKeys";  ///< as errors name it
  static constexpr auto values = coding::keysOf<URLBody>();           ///< in key order
};

}  // namespace tovanel::chat
