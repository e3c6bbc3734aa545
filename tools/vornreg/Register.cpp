#include "tav/registry/tavzks.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/ProfileInput.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"
#include "tools/vornreg/StageArea.h"

#include <vector>

namespace vornreg {

namespace {

/// Registers resources together: all are built out of sight, then their permissions are written,
/// then each is published in one step. What fails before a resource is published is undone.
class Registration {
public:
    Registration(const std::vector<NewResource>& resources, bool replace)
        : m_resources(resources), m_replace(replace) {}
    ~Registration() { undo(); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    void run() {
        checkStandings();
        for (const NewResource& resource : m_resources) m_stage.add(resource);
        for (const NewResource& resource : m_resources) permit(resource);
        // What is published must not lose its content or its permissions to a power failure.
        Registry::makeDurable();
        for (const NewResource& resource : m_resources) {
            m_stage.commit(resource, m_replace);
            ++m_published;
        }
        Registry::makeDurable();
    }

private:
    void checkStandings();
    void permit(const NewResource& resource);
    void undo() noexcept;

    StageArea m_stage;
    const std::vector<NewResource>& m_resources;
    const bool m_replace;
    std::vector<std::optional<std::string>> m_formerPermissions;
    std::size_t m_published = 0;
};

void Registration::checkStandings() {
    bool free = true;
    for (const NewResource& resource : m_resources) {
        const Standing standing = standingOf(resource.name);
        if (standing == Standing::leaving)
            require(resource.name, TAV::tavzksRemove(resource.name, TAV::TAVRESCUR));
        if (standing != Standing::registered || m_replace) continue;
        complain(resource.name + ": already registered");
        free = false;
    }
    if (!free) throw Failure(Status::alreadyThere, "nothing was registered");
}

void Registration::permit(const NewResource& resource) {
    m_formerPermissions.push_back(m_replace ? permissionsOf(resource.name) : std::nullopt);
    setPermissions(resource.name, resource.permissions);
}

void Registration::undo() noexcept {
    for (std::size_t index = m_published; index < m_formerPermissions.size(); ++index) {
        try {
            setPermissions(m_resources[index].name, m_formerPermissions[index]);
        } catch (const Failure& failure) {
            complain(std::string("permissions are left: ") + failure.what());
        }
    }
}

} // namespace

Status registerResources(const Call& call) {
    const std::vector<NewResource> resources = readProfiles(call.words);
    const Registry registry(Registry::Use::building);
    Registration(resources, call.has('r')).run();
    return Status::done;
}

} // namespace vornreg
