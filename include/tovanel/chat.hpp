#pragma once
// Everything of TovanelChatData in one include.

#include "tovanel/chat/base/CanonicalString.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/Range.hpp"
#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/body/EmptyBody.hpp"
#include "tovanel/chat/body/content/Image.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/body/content/Video.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"
