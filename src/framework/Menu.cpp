// SPDX-License-Identifier: MIT
#include "framework/Menu.h"

namespace framework {

void MenuItem::Append(Reference<MenuItem> item)
{
    items.push_back(std::move(item));
}

int32_t MenuItem::Count() const
{
    return static_cast<int32_t>(items.size());
}

Reference<MenuItem> MenuItem::Item(int32_t index) const
{
    return index < 0 || index >= Count() ? nullptr : items[static_cast<size_t>(index)];
}

Reference<MenuItem> MenuItem::Child(const String& name) const
{
    for (const auto& item : items)
        if (item->Name == name)
            return item;
    return nullptr;
}

Reference<MenuItem> MenuItem::_Lookup(const String& name) const
{
    for (const auto& item : items) {
        if (item->Name == name)
            return item;
        if (auto found = item->_Lookup(name))
            return found;
    }
    return nullptr;
}

} // namespace framework
