// SPDX-License-Identifier: MIT
#include "platform/atoms/UserData.h"

#include "platform/atoms/TaggedItems.h"
#include "platform/memory/ReferenceTable.h"

namespace platform {
namespace {

ReferenceTable<TaggedItems>& AllUserData()
{
    static auto* table = new ReferenceTable<TaggedItems>(kUserDataReference);
    return *table;
}

Result Hand(Address place, TaggedItems items)
{
    if (!Poke<UserData>(place, 0))
        return paramErr;
    Poke(place, AllUserData().Add(std::make_shared<TaggedItems>(std::move(items))));
    return noErr;
}

} // namespace

Result NewUserData(Address userData)
{
    return Hand(userData, {});
}

Result DisposeUserData(UserData userData)
{
    return AllUserData().Remove(userData) ? noErr : paramErr;
}

Result NewUserDataFromHandle(Handle handle, Address userData)
{
    if (!Poke<UserData>(userData, 0))
        return paramErr;
    auto items = TaggedItems::Read(HandleBytes(handle));
    return items ? Hand(userData, std::move(*items)) : paramErr;
}

Result PutUserDataIntoHandle(UserData userData, Handle handle)
{
    const auto items = AllUserData().Find(userData);
    return items ? SetHandleBytes(handle, items->Flatten()) : paramErr;
}

Result AddUserData(UserData userData, Handle data, FourCharCode type)
{
    const auto items = AllUserData().Find(userData);
    if (!items)
        return paramErr;
    const auto bytes = HandleBytes(data);
    // An invalid handle has no data pointer; an empty one has.
    if (bytes.data() == nullptr)
        return nilHandleErr;
    items->Add(type, {bytes.begin(), bytes.end()});
    return noErr;
}

Result GetUserData(UserData userData, Handle data, FourCharCode type, int32_t index)
{
    const auto items = AllUserData().Find(userData);
    if (!items)
        return paramErr;
    const auto* bytes = index < 1 ? nullptr : items->Find(type, static_cast<size_t>(index) - 1);
    return bytes ? SetHandleBytes(data, *bytes) : userDataItemNotFound;
}

} // namespace platform
