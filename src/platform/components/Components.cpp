// SPDX-License-Identifier: MIT
#include "platform/components/Components.h"

#include "platform/components/ComponentsEnd.h"
#include "platform/memory/Handles.h"
#include "platform/memory/PascalString.h"
#include "platform/memory/ReferenceTable.h"

#include <algorithm>
#include <string>

namespace platform {
namespace {

struct Registration {
    ComponentDescription description;
    std::string name;
    std::function<std::shared_ptr<ComponentObject>()> open;
};

struct Instance {
    std::shared_ptr<Registration> registration;
    std::shared_ptr<ComponentObject> object;
};

ReferenceTable<Registration>& Registrations()
{
    static auto* table = new ReferenceTable<Registration>(kComponentReference);
    return *table;
}

ReferenceTable<Instance>& Instances()
{
    static auto* table = new ReferenceTable<Instance>(kComponentInstanceReference);
    return *table;
}

bool Fits(FourCharCode wanted, FourCharCode offered)
{
    return wanted == 0 || wanted == offered;
}

bool Fits(const ComponentDescription& wanted, const ComponentDescription& offered)
{
    return Fits(wanted.type, offered.type) && Fits(wanted.subtype, offered.subtype) &&
           Fits(wanted.manufacturer, offered.manufacturer) &&
           (wanted.flags & wanted.flagsMask) == (offered.flags & wanted.flagsMask);
}

Component FindNext(Component previous, const ComponentDescription& wanted)
{
    for (const Component component : Registrations().Numbers()) {
        const auto registration = Registrations().Find(component);
        if (component > previous && registration && Fits(wanted, registration->description))
            return component;
    }
    return 0;
}

} // namespace

ComponentInstance OpenDefaultComponent(FourCharCode type, FourCharCode subtype)
{
    const auto registration = Registrations().Find(FindNext(0, {.type = type, .subtype = subtype}));
    auto object = registration ? registration->open() : nullptr;
    return object ? Instances().Add(std::make_shared<Instance>(Instance{registration, std::move(object)})) : 0;
}

Component FindNextComponent(Component previous, Address description)
{
    return FindNext(previous, Peek<ComponentDescription>(description));
}

Result OpenAComponent(Component component, Address instance)
{
    Poke<ComponentInstance>(instance, 0);
    const auto registration = Registrations().Find(component);
    if (!registration)
        return invalidComponentID;
    auto object = registration->open();
    if (!object)
        return couldntGetRequiredComponent;
    const auto opened = Instances().Add(std::make_shared<Instance>(Instance{registration, std::move(object)}));
    return Poke<ComponentInstance>(instance, opened) ? noErr : paramErr;
}

Result CloseComponent(ComponentInstance instance)
{
    return Instances().Remove(instance) ? noErr : badComponentInstance;
}

void CloseAllComponents()
{
    auto numbers = Instances().Numbers();
    std::ranges::reverse(numbers);
    for (const ComponentInstance instance : numbers)
        Instances().Remove(instance);
}

Result GetComponentInfo(int32_t componentOrInstance, Address description, int32_t name, int32_t info, int32_t icon)
{
    auto registration = Registrations().Find(componentOrInstance);
    if (const auto instance = Instances().Find(componentOrInstance))
        registration = instance->registration;
    if (!registration)
        return invalidComponentID;
    if (description != 0 && !Poke(description, registration->description))
        return paramErr;
    SetHandleBytes(name, PascalString(registration->name));
    SetHandleBytes(info, PascalString({}));
    SetHandleSize(icon, 0);
    return noErr;
}

Component RegisterComponent(const ComponentDescription& description, std::string_view name,
                            std::function<std::shared_ptr<ComponentObject>()> open)
{
    return Registrations().Add(
        std::make_shared<Registration>(Registration{description, std::string(name), std::move(open)}));
}

void UnregisterComponent(Component component)
{
    Registrations().Remove(component);
}

ComponentInstance OpenInstance(Component component, std::shared_ptr<ComponentObject> object)
{
    auto registration = Registrations().Find(component);
    if (!registration || !object)
        return 0;
    return Instances().Add(std::make_shared<Instance>(Instance{std::move(registration), std::move(object)}));
}

std::shared_ptr<ComponentObject> FindInstance(ComponentInstance instance)
{
    const auto found = Instances().Find(instance);
    return found ? found->object : nullptr;
}

} // namespace platform
