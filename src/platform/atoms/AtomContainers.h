// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

namespace platform {

/// A container holds a tree of atoms. Each atom has a type, an id that is unique among its siblings of that type, and
/// either children or data. References of containers and atoms are above 0; the root of a container is atom 0.
using AtomContainer = int32_t;
using Atom = int32_t;

/// Creates an empty container and writes its reference at `container`. The caller disposes it.
Result QTNewAtomContainer(Address container);
/// Disposes a container with all its atoms.
Result QTDisposeAtomContainer(AtomContainer container);

/// Adds an atom under `parent`. `id` 0 takes the lowest free id; `index` 0 appends. Copies `size` bytes at `data`; an
/// atom that will have children has none. Writes the new atom as 32 bits at `atom` unless that is 0.
Result QTInsertChild(AtomContainer container, Atom parent, FourCharCode type, int32_t id, int16_t index, int32_t size,
                     Address data, Address atom);

/// Number of children of that type; 0 for an invalid container or atom.
int16_t QTCountChildrenOfType(AtomContainer container, Atom parent, FourCharCode type);

/// Finds a child of a type by its index (from 1); 0 if there is none. Writes its id as 32 bits at `id` unless that is
/// 0.
Atom QTFindChildByIndex(AtomContainer container, Atom parent, FourCharCode type, int16_t index, Address id);

/// Finds a child of a type by its id; 0 if there is none. Writes its index as 16 bits at `index` unless that is 0.
Atom QTFindChildByID(AtomContainer container, Atom parent, FourCharCode type, int32_t id, Address index);

/// Copies an atom's data to `data` and writes its size as 32 bits at `size` unless that is 0. `paramErr` if there are
/// more than `maximum` bytes, or fewer when `sizeMayBeSmaller` is 0; `notLeafAtomErr` for an atom with children.
Result QTCopyAtomDataToPtr(AtomContainer container, Atom atom, int32_t sizeMayBeSmaller, int32_t maximum, Address data,
                           Address size);

/// Replaces an atom's data with a copy of `size` bytes at `data`. `notLeafAtomErr` for an atom with children.
Result QTSetAtomData(AtomContainer container, Atom atom, int32_t size, Address data);

/// Does nothing, since containers never move. `invalidAtomContainerErr` for an invalid container.
Result QTLockContainer(AtomContainer container);
/// Undoes `QTLockContainer`, with the same results.
Result QTUnlockContainer(AtomContainer container);

} // namespace platform
