#include "cppgen/clsException.h"
#include "daemons/vornd/Profile.h"
#include "daemons/vornd/StatusService.h"
#include "tav/comm/MessageStream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

class FuzzCaller final : public vornd::Caller {
public:
    explicit FuzzCaller(bool administrator) : m_administrator(administrator) {}
    [[nodiscard]] const std::string& name() const override { return m_name; }
    bool isAdministrator() override { return m_administrator; }
    bool belongsTo(const std::string& group) override { return group == "staff"; }

private:
    const std::string m_name = "somebody";
    bool m_administrator;
};

vornd::ResourceModel smallModel() {
    std::vector<vornd::ResourcePointer> resources;
    for (const char* const text : {"NAME=a\nTYPE=t\nSTATE@alpha=ONLINE\nACL=group:staff:r--\n",
                                   "NAME=b\nTYPE=t\nTARGET=ONLINE\nCURRENT_FAILURE@beta=1\n"
                                   "STATE@beta=OFFLINE\nSTATE@alpha=ONLINE\nACL=other::r--\n",
                                   "NAME=shut\nTYPE=t\nSTATE@beta=ONLINE\n"}) {
        auto resource = std::make_shared<vornd::Resource>();
        vornd::ProfileFault fault;
        if (!vornd::parseProfile(text, *resource, fault)) std::abort();
        resources.push_back(std::move(resource));
    }
    return vornd::ResourceModel(std::move(resources));
}

std::unique_ptr<TAV::Message> decode(const std::uint8_t* data, std::size_t size) {
    auto frame = std::make_unique_for_overwrite<unsigned char[]>(size);
    std::copy_n(data, size, frame.get());
    try {
        TAV::MessageStream stream(frame.release(), static_cast<unsigned>(size));
        return std::unique_ptr<TAV::Message>(stream.readMessage());
    } catch (const cls::Exception&) {
        return nullptr;
    }
}

} // namespace

/// Whatever decodes is answered with a reply that fits a frame, and nobody is shown what may not be
/// read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vornd::ResourceModel model = smallModel();
    static const vornd::Members members{"alpha", "beta"};
    const std::unique_ptr<TAV::Message> request = decode(data, size);
    if (request == nullptr) return 0;
    for (const bool administrator : {true, false}) {
        FuzzCaller caller(administrator);
        const std::unique_ptr<TAV::Container> reply =
            vornd::answerStatus(*request, caller, model, members);
        if (!administrator && TAV::asContainer(reply->GetMessage("shut")) != nullptr) std::abort();
        const std::vector<unsigned char> frame = TAV::MessageStream().encode(*reply);
        if (frame.size() > TAV::MessageStream::MAX_FRAME) std::abort();
    }
    return 0;
}
