#pragma once

/// The process-global slot table through which separately built layers share their contexts.
/// Slots 2 and 16 are filled by the platform on first demand; the others start empty (null).
/// Indices outside the table read as empty and ignore a store. Thread-safe.

enum clsg_slot : unsigned {
    CLSG_IDENTITY = 2, ///< identity-service context
    CLSG_CLSC = 11,    ///< communication context
    CLSG_LSF = 16,     ///< message-formatting context
    CLSG_EVM = 34,     ///< event library
    CLSG_SLOTS = 64,
};

void* clsgGet(unsigned slot);
void clsgSet(unsigned slot, void* value);

/// One recursive lock a slot, for creating its content once.
void clsgLock(unsigned slot);
void clsgUnlock(unsigned slot);
