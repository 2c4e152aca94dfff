// SPDX-License-Identifier: MIT
// Atom containers.
//
// A container owns its atoms in one vector. An atom's reference is its index in the vector plus one; the root,
// reference 0, is stored separately. Single atoms are never removed, so a reference stays valid until its container is
// disposed. The children of an atom are ordered, which gives each an index.
#include "platform/atoms/AtomContainers.h"

#include "platform/memory/ReferenceTable.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace platform {
namespace {

struct AtomNode {
    FourCharCode type = 0;
    int32_t id = 0;
    std::vector<uint8_t> data;
    std::vector<Atom> children;
};

struct Container {
    AtomNode root;
    std::vector<AtomNode> atoms;

    AtomNode* Find(Atom atom)
    {
        if (atom == 0)
            return &root;
        return atom > 0 && static_cast<size_t>(atom) <= atoms.size() ? &atoms[static_cast<size_t>(atom) - 1] : nullptr;
    }
};

ReferenceTable<Container>& Containers()
{
    static auto* table = new ReferenceTable<Container>(kAtomContainerReference);
    return *table;
}

// The container and atom of a call, or the result code that says which of them is invalid.
struct Target {
    std::shared_ptr<Container> container;
    AtomNode* atom = nullptr;
    Result result = noErr;
};

Target FindTarget(AtomContainer container, Atom atom)
{
    Target target{.container = Containers().Find(container)};
    if (!target.container) {
        target.result = invalidAtomContainerErr;
        return target;
    }
    target.atom = target.container->Find(atom);
    if (target.atom == nullptr)
        target.result = invalidAtomErr;
    return target;
}

std::vector<Atom> ChildrenOfType(const Target& target, FourCharCode type)
{
    std::vector<Atom> found;
    if (target.atom != nullptr)
        std::ranges::copy_if(target.atom->children, std::back_inserter(found),
                             [&](Atom child) { return target.container->Find(child)->type == type; });
    return found;
}

int32_t LowestFreeId(const Target& parent, const std::vector<Atom>& siblings)
{
    for (int32_t id = 1;; ++id)
        if (std::ranges::none_of(siblings, [&](Atom atom) { return parent.container->Find(atom)->id == id; }))
            return id;
}

} // namespace

Result QTNewAtomContainer(Address container)
{
    return Poke<AtomContainer>(container, Containers().Add(std::make_shared<Container>())) ? noErr : paramErr;
}

Result QTDisposeAtomContainer(AtomContainer container)
{
    return Containers().Remove(container) ? noErr : invalidAtomContainerErr;
}

Result QTInsertChild(AtomContainer container, Atom parent, FourCharCode type, int32_t id, int16_t index, int32_t size,
                     Address data, Address atom)
{
    const Target target = FindTarget(container, parent);
    if (target.result != noErr)
        return target.result;
    if (!target.atom->data.empty())
        return notLeafAtomErr;
    const auto siblings = ChildrenOfType(target, type);
    if (id == 0)
        id = LowestFreeId(target, siblings);
    else if (std::ranges::any_of(siblings, [&](Atom sibling) { return target.container->Find(sibling)->id == id; }))
        return duplicateAtomTypeAndIDErr;
    if (index < 0 || index > static_cast<int32_t>(siblings.size()) + 1)
        return atomIndexInvalidErr;
    const auto bytes = BytesAt(data, size);
    if (size < 0 || bytes.size() != static_cast<size_t>(size))
        return paramErr;

    const auto number = static_cast<Atom>(target.container->atoms.size() + 1);
    auto& children = target.atom->children;
    const auto place = index == 0 || index > static_cast<int32_t>(siblings.size())
                           ? children.end()
                           : std::ranges::find(children, siblings[static_cast<size_t>(index) - 1]);
    children.insert(place, number);
    target.container->atoms.push_back({type, id, {bytes.begin(), bytes.end()}, {}});
    return atom == 0 || Poke(atom, number) ? noErr : paramErr;
}

int16_t QTCountChildrenOfType(AtomContainer container, Atom parent, FourCharCode type)
{
    const auto count = ChildrenOfType(FindTarget(container, parent), type).size();
    return static_cast<int16_t>(std::min<size_t>(count, std::numeric_limits<int16_t>::max()));
}

Atom QTFindChildByIndex(AtomContainer container, Atom parent, FourCharCode type, int16_t index, Address id)
{
    const Target target = FindTarget(container, parent);
    const auto children = ChildrenOfType(target, type);
    if (index < 1 || static_cast<size_t>(index) > children.size())
        return 0;
    const Atom found = children[static_cast<size_t>(index) - 1];
    Poke<int32_t>(id, target.container->Find(found)->id);
    return found;
}

Atom QTFindChildByID(AtomContainer container, Atom parent, FourCharCode type, int32_t id, Address index)
{
    const Target target = FindTarget(container, parent);
    const auto children = ChildrenOfType(target, type);
    const auto found =
        std::ranges::find_if(children, [&](Atom child) { return target.container->Find(child)->id == id; });
    if (found == children.end())
        return 0;
    Poke(index, static_cast<int16_t>(found - children.begin() + 1));
    return *found;
}

Result QTCopyAtomDataToPtr(AtomContainer container, Atom atom, int32_t sizeMayBeSmaller, int32_t maximum, Address data,
                           Address size)
{
    const Target target = FindTarget(container, atom);
    if (target.result != noErr)
        return target.result;
    if (atom == 0 || !target.atom->children.empty())
        return notLeafAtomErr;
    const auto& stored = target.atom->data;
    const auto length = static_cast<int32_t>(stored.size());
    if (length > maximum || (length < maximum && sizeMayBeSmaller == 0))
        return paramErr;
    const auto bytes = BytesAt(data, length);
    if (bytes.size() != stored.size())
        return paramErr;
    std::ranges::copy(stored, bytes.begin());
    return size == 0 || Poke(size, length) ? noErr : paramErr;
}

Result QTSetAtomData(AtomContainer container, Atom atom, int32_t size, Address data)
{
    const Target target = FindTarget(container, atom);
    if (target.result != noErr)
        return target.result;
    if (atom == 0 || !target.atom->children.empty())
        return notLeafAtomErr;
    const auto bytes = BytesAt(data, size);
    if (size < 0 || bytes.size() != static_cast<size_t>(size))
        return paramErr;
    target.atom->data.assign(bytes.begin(), bytes.end());
    return noErr;
}

Result QTLockContainer(AtomContainer container)
{
    return Containers().Find(container) ? noErr : invalidAtomContainerErr;
}

Result QTUnlockContainer(AtomContainer container)
{
    return QTLockContainer(container);
}

} // namespace platform
