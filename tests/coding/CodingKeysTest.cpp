// The public key sets are written by hand beside the field tables they mirror: each enumerator
// must name the member at its position in the table, and there must be no more enumerators than
// fields. Checked at compile time from the names the compiler gives values in a function's
// signature (GCC's and clang's forms).

#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>

#include "tovanel/chat.hpp"

namespace tovanel::chat {
namespace {

// The last component of the name of a constant (an enumerator or a member pointer), without a
// trailing underscore; empty for an enumeration value that no enumerator names.
template <auto V>
constexpr std::string_view nameOf() {
  std::string_view text = __PRETTY_FUNCTION__;
  text.remove_prefix(text.find("V = ") + 4);
  text = text.substr(0, text.find_first_of(";]"));
  if (text.starts_with('(')) return {};
  text.remove_prefix(text.rfind(':') + 1);
  if (text.ends_with('_')) text.remove_suffix(1);
  return text;
}

template <class T, class Keys>
constexpr bool keysNameTheFields() {
  constexpr auto members = coding::membersOf(coding::Access::fields<T>());
  constexpr std::size_t count = std::tuple_size_v<decltype(members)>;
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return ((nameOf<static_cast<Keys>(I)>() == nameOf<std::get<I>(members)>()) && ...) &&
           nameOf<static_cast<Keys>(count)>().empty();
  }
  (std::make_index_sequence<count>{});
}

static_assert(nameOf<HLSBody::CodingKeys::meta>() == "meta" &&
              nameOf<static_cast<HLSBody::CodingKeys>(99)>().empty());
static_assert(keysNameTheFields<HLSBody, HLSBody::CodingKeys>());
static_assert(keysNameTheFields<LocationBody, LocationBody::CodingKeys>());
static_assert(keysNameTheFields<URLBody, URLBody::CodingKeys>());
static_assert(keysNameTheFields<YoutubeBody, YoutubeBody::CodingKeys>());
static_assert(
    keysNameTheFields<UserPresentInfoBody::Media, UserPresentInfoBody::Media::CodingKeys>());
static_assert(keysNameTheFields<RoomRequestCreatedInfoBody::Request,
                                RoomRequestCreatedInfoBody::Request::CodingKeys>());
static_assert(keysNameTheFields<ChatMessageUser, ChatMessageUser::CodingKeys>());

}  // namespace
}  // namespace tovanel::chat
