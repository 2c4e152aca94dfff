// SPDX-License-Identifier: MIT
#pragma once

#include "platform/memory/AddressSpace.h"
#include "platform/memory/FourCharCode.h"
#include "platform/memory/ResultCodes.h"

namespace platform {

/// A container holds a tree of atoms; each has a type, an id that is unique among its siblings of that type, and
/// either children or data. Containers and atoms are numbers above 0; the root of a container is atom 0.
using AtomContainer = int32_t;
using Atom = int32_t;

/// Makes an empty container and writes its reference to `container`. The caller disposes of it.
Result QTNewAtomContainer(Address container);
/// Disposes of a container with all its atoms.
Result QTDisposeAtomContainer(AtomContainer container);

/// Adds an atom under `parent`: `id` 0 takes the lowest free one; `index` 0 appends. `size` bytes at `data` are
/// copied, an atom with children has none. Writes the new atom as 32 bits at `atom` unless that is 0.
Result QTInsertChild(AtomContainer container, Atom parent, FourCharCode type, int32_t id, int16_t index, int32_t size,
                     Address data, Address atom);

/// Number of children of that type; 0 for a dead container or atom.
int16_t QTCountChildrenOfType(AtomContainer container, Atom parent, FourCharCode type);

/// The child of a type by its place (from 1) or its id; 0 when there is none. The other value is written at the last
/// address unless that is 0 (id as 32 bits, index as 16).
Atom QTFindChildByIndex(AtomContainer container, Atom parent, FourCharCode type, int16_t index, Address id);
Atom QTFindChildByID(AtomContainer container, Atom parent, FourCharCode type, int32_t id, Address index);

/// Copies at most `maximum` bytes of an atom's data to `data` and writes the data's size as 32 bits at `size` unless
/// that is 0. With `sizeMayBeSmaller` 0 an atom of less data is refused. `paramErr` for data above `maximum`.
Result QTCopyAtomDataToPtr(AtomContainer container, Atom atom, int32_t sizeMayBeSmaller, int32_t maximum, Address data,
                           Address size);

/// Replaces an atom's data.
Result QTSetAtomData(AtomContainer container, Atom atom, int32_t size, Address data);

/// Containers never move; both answer `invalidAtomContainerErr` for a dead one.
Result QTLockContainer(AtomContainer container);
Result QTUnlockContainer(AtomContainer container);

} // namespace platform
