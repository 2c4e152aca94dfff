// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <functional>
#include <memory>

namespace platform {

/// A registered component, and an opened instance of one: numbers above 0.
using Component = int32_t;
using ComponentInstance = int32_t;

/// Opens the first component of that type and subtype; a subtype of 0 fits any.
/// Returns the instance, or 0 when there is none or it can't be opened.
ComponentInstance OpenDefaultComponent(FourCharCode type, FourCharCode subtype);

/// Finds the next component after `previous` (0: the first) that fits the description at `description`: a record of
/// 20 bytes in host byte order with type, subtype, manufacturer, flags and flags mask, where a code of 0 fits any.
/// Returns 0 when there is no further one.
Component FindNextComponent(Component previous, Address description);

/// Opens `component` and writes the instance as 32 bits at `instance`. `invalidComponentID` for a dead number, in
/// which case 0 is written; otherwise the component's own failure.
Result OpenAComponent(Component component, Address instance);

/// Closes an instance; `badComponentInstance` for a dead number.
Result CloseComponent(ComponentInstance instance);

/// Fills the description record of 20 bytes at `description` for a component or an open instance of one. The three
/// handles may be 0; otherwise they receive name, information and icon (Pascal strings; the icon is empty).
Result GetComponentInfo(int32_t componentOrInstance, Address description, int32_t name, int32_t info, int32_t icon);

// What the rooms use to offer components.

/// Base of what an open instance stands for. Its destructor closes it.
class ComponentObject {
public:
    virtual ~ComponentObject() = default;
};

struct ComponentDescription {
    FourCharCode type = 0;
    FourCharCode subtype = 0;
    FourCharCode manufacturer = 0;
    uint32_t flags = 0;
    uint32_t flagsMask = 0;
};

/// Offers a component under a name in UTF-8. `open` makes the object of a new instance, null when it can't.
Component RegisterComponent(const ComponentDescription& description, std::string_view name,
                            std::function<std::shared_ptr<ComponentObject>()> open);

/// Takes a component back; its open instances live on.
void UnregisterComponent(Component component);

/// Opens an instance around an object that exists already. `component` tells what `GetComponentInfo` answers.
ComponentInstance OpenInstance(Component component, std::shared_ptr<ComponentObject> object);

/// The object of an open instance, or null when the number is dead or the object of another class.
std::shared_ptr<ComponentObject> FindInstance(ComponentInstance instance);

/// The object behind an instance; null for a number that is dead or of another class.
template <typename T> std::shared_ptr<T> FindInstance(ComponentInstance instance)
{
    return std::dynamic_pointer_cast<T>(FindInstance(instance));
}

} // namespace platform
