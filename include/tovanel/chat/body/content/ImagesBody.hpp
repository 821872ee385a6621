#pragma once
// The payload of a message that shows pictures: an ordered list of images, possibly empty. The
// list is the whole body; it is read-only once made.

#include <tuple>
#include <utility>
#include <vector>

#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// The payload of the kind images: the pictures, in order.
struct ImagesBody : coding::Record<ImagesBody> {
  static constexpr BodyType kind = BodyType::images;  ///< the body kind of this payload

  /// A body of these pictures.
  explicit ImagesBody(std::vector<Image> images) : images_(std::move(images)) {}

  /// The pictures in the order the service sent them.
  const std::vector<Image>& images() const noexcept { return images_; }

 private:
  friend struct coding::Access;
  explicit ImagesBody(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::requiredKey("images", &ImagesBody::images_)};
  }

  std::vector<Image> images_;
};

}  // namespace tovanel::chat
