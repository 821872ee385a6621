// The public key sets are written by hand beside the field tables they mirror: each enumerator
// must name the member at its position in the table, and there must be no more enumerators than
// fields. The kinds' raw values are written beside their enumerations: there must be one per
// enumerator (a kind without one would be read past the end of the tables sized by them). Checked
// when the library is built, from the names that GCC and clang give constants in a function's
// signature; no code comes of this file.

#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>

#include "tovanel/chat.hpp"

namespace tovanel::chat::coding {

struct CodingKeysCheck {
  // The last component of the name of a constant (an enumerator or a member pointer), without a
  // trailing underscore; empty for an enumeration value that no enumerator names.
  template <auto V>
  static constexpr std::string_view nameOf() {
    std::string_view text = __PRETTY_FUNCTION__;
    text.remove_prefix(text.find("V = ") + 4);
    text = text.substr(0, text.find_first_of(";]"));
    if (text.starts_with('(')) return {};
    text.remove_prefix(text.rfind(':') + 1);
    if (text.ends_with('_')) text.remove_suffix(1);
    return text;
  }

  template <class T>
  static constexpr auto members = detail::membersOf(Access::fields<T>());

  template <class T>
  static constexpr bool keysNameTheFields() {
    using Keys = typename T::CodingKeys;
    constexpr std::size_t count = std::tuple_size_v<decltype(members<T>)>;
    return []<std::size_t... I>(std::index_sequence<I...>) {
      return ((nameOf<static_cast<Keys>(I)>() == nameOf<std::get<I>(members<T>)>()) && ...) &&
             nameOf<static_cast<Keys>(count)>().empty();
    }
    (std::make_index_sequence<count>{});
  }

  // No enumerator of E past its last raw value; with `named`, each raw value is its case's name.
  template <class E, bool named = false>
  static constexpr bool rawValuesCoverTheCases() {
    constexpr auto& values = RawValues<E>::values;
    return []<std::size_t... I>(std::index_sequence<I...>) {
      return (!named || ((nameOf<static_cast<E>(I)>() == values[I]) && ...));
    }
    (std::make_index_sequence<values.size()>{}) && nameOf<static_cast<E>(values.size())>().empty();
  }
};

static_assert(CodingKeysCheck::rawValuesCoverTheCases<BodyType, true>() &&
              CodingKeysCheck::rawValuesCoverTheCases<InfoType>() &&
              CodingKeysCheck::rawValuesCoverTheCases<RoomAccessibility>() &&
              CodingKeysCheck::rawValuesCoverTheCases<RoomVisibility>());

static_assert(CodingKeysCheck::nameOf<HLSBody::CodingKeys::meta>() == "meta" &&
              CodingKeysCheck::nameOf<static_cast<HLSBody::CodingKeys>(99)>().empty());
static_assert(CodingKeysCheck::keysNameTheFields<HLSBody>());
static_assert(CodingKeysCheck::keysNameTheFields<LocationBody>());
static_assert(CodingKeysCheck::keysNameTheFields<URLBody>());
static_assert(CodingKeysCheck::keysNameTheFields<YoutubeBody>());
static_assert(CodingKeysCheck::keysNameTheFields<UserPresentInfoBody::Media>());
static_assert(CodingKeysCheck::keysNameTheFields<RoomRequestCreatedInfoBody::Request>());
static_assert(CodingKeysCheck::keysNameTheFields<ChatMessageUser>());

}  // namespace tovanel::chat::coding
