// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

#include <functional>
#include <memory>

namespace platform {

/// References to a registered component and to an open instance of one; above 0.
using Component = int32_t;
using ComponentInstance = int32_t;

/// Opens the first component of that type and subtype; subtype 0 matches any.
/// Returns the instance, or 0 if there is none or it cannot be opened.
ComponentInstance OpenDefaultComponent(FourCharCode type, FourCharCode subtype);

/// Finds the next component after `previous` (0: the first) that matches the description at `description`: a record of
/// 20 bytes in host byte order with type, subtype, manufacturer, flags and flags mask, where a code of 0 matches any.
/// Returns 0 if there is no further one.
Component FindNextComponent(Component previous, Address description);

/// Opens `component` and writes the instance as 32 bits at `instance`; 0 on failure. `invalidComponentID` for an
/// invalid reference, `couldntGetRequiredComponent` if the component cannot be opened. The caller closes the instance.
Result OpenAComponent(Component component, Address instance);

/// Closes an instance. `badComponentInstance` for an invalid reference.
Result CloseComponent(ComponentInstance instance);

/// Writes the description record of 20 bytes of a component or of an open instance at `description`. The three handles
/// may be 0; otherwise they receive name and information (Pascal strings) and the icon, which is empty.
Result GetComponentInfo(int32_t componentOrInstance, Address description, int32_t name, int32_t info, int32_t icon);

// For the modules that provide components.

/// Base class of the object of an open instance. Its destructor closes it.
class ComponentObject {
public:
    virtual ~ComponentObject() = default;
};

/// Describes a component, or what to look for.
struct ComponentDescription {
    FourCharCode type = 0;
    FourCharCode subtype = 0;
    FourCharCode manufacturer = 0;
    uint32_t flags = 0;
    uint32_t flagsMask = 0;
};

/// Registers a component with a name in UTF-8. `open` creates the object of a new instance, or returns null on failure.
/// Returns the component's reference.
Component RegisterComponent(const ComponentDescription& description, std::string_view name,
                            std::function<std::shared_ptr<ComponentObject>()> open);

/// Unregisters a component. Its open instances stay open.
void UnregisterComponent(Component component);

/// Opens an instance for an existing object. `component` provides what `GetComponentInfo` returns. 0 for an invalid
/// reference or no object.
ComponentInstance OpenInstance(Component component, std::shared_ptr<ComponentObject> object);

/// The object of an open instance; null for an invalid reference.
std::shared_ptr<ComponentObject> FindInstance(ComponentInstance instance);

/// The object of an open instance; null for an invalid reference or an object of another class.
template <typename T> std::shared_ptr<T> FindInstance(ComponentInstance instance)
{
    return std::dynamic_pointer_cast<T>(FindInstance(instance));
}

} // namespace platform
