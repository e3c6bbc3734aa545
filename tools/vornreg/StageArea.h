#pragma once

#include "tools/vornreg/ProfileInput.h"

#include <string>

namespace vornreg {

/// The node's stage area, where resources are put together before they are published. One process
/// of a node works there at a time: another one's half-built resource would be published else.
/// Needs an open Registry; throws Failure.
class StageArea {
public:
    /// Waits for its turn and removes what a killed predecessor left.
    StageArea();
    /// Removes what was not committed.
    ~StageArea();
    StageArea(const StageArea&) = delete;
    StageArea& operator=(const StageArea&) = delete;

    void add(const NewResource& resource);
    /// Publishes the resource in one step, in place of the one that stands there if `replace`.
    void commit(const NewResource& resource, bool replace);

private:
    void clear();

    class Turn {
    public:
        Turn();
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        int m_descriptor = -1;
    };

    Turn m_turn;
    std::string m_key;
};

} // namespace vornreg
