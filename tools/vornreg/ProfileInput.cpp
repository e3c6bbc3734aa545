#include "tools/vornreg/ProfileInput.h"

#include "daemons/vornd/ProfileFile.h"
#include "tav/ui/cmd/tavNames.h"
#include "tools/vornreg/Failure.h"
#include "tools/vornreg/Resources.h"

#include <iostream>
#include <map>

namespace vornreg {

namespace {

constexpr const char* STANDARD_INPUT = "-";

bool readStandardInput(vornd::Resource& resource, vornd::ProfileFault& fault) {
    std::string text(vornd::MAX_PROFILE_SIZE + 1, '\0');
    std::cin.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::cin.gcount()));
    fault = vornd::ProfileFault();
    if (std::cin.bad()) fault.reason = "cannot be read";
    if (text.size() > vornd::MAX_PROFILE_SIZE)
        fault.reason = "larger than " + std::to_string(vornd::MAX_PROFILE_SIZE) + " bytes";
    return fault.reason.empty() && vornd::parseProfile(text, resource, fault);
}

/// What a sound profile may hold and a resource to be registered may not.
std::string faultOf(const NewResource& resource) {
    if (resource.record.count(RES_IS_UNREGISTERING) != 0)
        return "IS_UNREGISTERING is no attribute of a profile";
    return faultOfName(resource.name);
}

/// The reason why a file is refused; empty when it is not.
std::string read(const std::string& file, NewResource& resource) {
    vornd::Resource profile;
    vornd::ProfileFault fault;
    const bool sound = file == STANDARD_INPUT ? readStandardInput(profile, fault)
                                              : vornd::readProfileFile(file, profile, fault);
    if (!sound) return fault.text();
    resource = {file, profile.name(), vornd::recordOf(profile), std::nullopt};
    resource.record.emplace(RES_AUTO_START, TAV_RESTORE);
    if (profile.attributes.count(RES_ACL) != 0) resource.permissions = profile.attribute(RES_ACL);
    if (resource.permissions && !profile.acl)
        complain(file + ": the ACL is not understood; administrators alone will read " +
                 resource.name);
    return faultOf(resource);
}

} // namespace

std::vector<NewResource> readProfiles(const std::vector<std::string>& files) {
    std::vector<NewResource> resources(files.size());
    std::map<std::string, std::string> firstFiles;
    bool sound = true;
    for (std::size_t index = 0; index < files.size(); ++index) {
        std::string reason = read(files[index], resources[index]);
        const std::string& name = resources[index].name;
        if (reason.empty())
            if (const auto [first, isNew] = firstFiles.emplace(name, files[index]); !isNew)
                reason = "NAME '" + name + "' is also in " + first->second;
        if (reason.empty()) continue;
        complain(files[index] + ": " + reason);
        sound = false;
    }
    if (!sound) throw Failure(Status::failed, "nothing was registered");
    return resources;
}

} // namespace vornreg
