#include "cppgen/clsLog.h"

#include "cppgen/clsLogHooks.h"
#include "platform/include/immortal.h"

#include <sstream>
#include <string_view>
#include <utility>

namespace CLS_Debug {

namespace {

/// What the detail of a line decides.
struct DetailRow {
    std::string_view tag;
    unsigned level; ///< the diagnostic level of an `out` line
};

constexpr DetailRow DETAILS[] = {
    {"[IN MEM]", 0}, {"[LOGGING]", 0}, {"[ALERT]", 0}, {"[PANIC]", 0},  {"", 1},
    {"[FFAIL]", 1},  {"[ENTER]", 2},   {"", 3},        {"[F-ALGO]", 5}, {"[EXT-LAYER]", 4},
};

/// Lines that assertions about a detail report.
constexpr int LEVEL_MAPPING_LINE = 482;
constexpr int DETAIL_TAG_LINE = 1239;

constexpr const char* SOURCE_NAME = "clsLog";

const DetailRow& detailRow(DebugDetail detail, int assertionLine) {
    const bool known = detail < std::size(DETAILS);
    clsAssert(known, "0", SOURCE_NAME, assertionLine);
    return DETAILS[known ? detail : DETAIL_DEFAULT];
}

int takeSome(const clsdcomp* component, unsigned level, const char* text, std::size_t length,
             bool descriptor) {
    if (descriptor) return clsdprintft_cdesc(component, level, "%s", text);
    return clsdprint(component, level, std::string_view(text, length));
}

/// The diagnostic layer takes a line in portions of its own choosing.
void handOver(const clsdcomp* component, unsigned level, const std::string& line, bool descriptor) {
    std::size_t taken = 0;
    int count = 0;
    do {
        count = takeSome(component, level, line.c_str() + taken, line.size() - taken, descriptor);
        if (count > 0) taken += static_cast<std::size_t>(count);
    } while (count > 0 && taken < line.size());
}

CLSlog& defaultLog() {
    static Immortal<CLSlog> log("default");
    return *log;
}

} // namespace

std::string_view textOf(std::ostream& stream) {
    const auto* const buffer = dynamic_cast<const std::stringbuf*>(stream.rdbuf());
    return buffer != nullptr ? buffer->view() : std::string_view();
}

CLSlog::CLSlog(std::string name) : m_name(std::move(name)) {}

CLSlog::~CLSlog() = default;

CLSlog& s_dbug() {
    static Immortal<CLSlog> log("CLSCPPGEN");
    return *log;
}

void CLSlog::log(std::ostream& text, DebugDetail detail, const CLSlogModule& module,
                 bool descriptor) {
    print(text, detail, module, TYPE_LOG, descriptor);
}

void CLSlog::error(std::ostream& text, DebugDetail detail, const CLSlogModule& module,
                   bool descriptor) {
    print(text, detail, module, TYPE_ERROR, descriptor);
}

void CLSlog::out(std::ostream& text, DebugDetail detail, const CLSlogModule& module,
                 bool descriptor) {
    print(text, detail, module, TYPE_OUT, descriptor);
}

void CLSlog::trace(std::ostream&, int, DebugDetail, const CLSlogModule&) {}

void CLSlog::setBaseProvider(AlertBaseProvider* provider) {
    m_baseProvider = provider;
}

bool CLSlog::writes(DebugDetail detail) {
    const CLSlogModule& module = ownModule();
    return detail <= module.getDetailDefault() && DETAILS[detail].level <= module.getClsdLevelLog();
}

CLSlogModule& CLSlog::ownModule() {
    CLSlogModule* const known = m_module.load(std::memory_order_acquire);
    return known != nullptr ? *known : registerOwnModule();
}

CLSlogModule& CLSlog::registerOwnModule() {
    CLSlogModuleInfo info;
    info.description = m_name + " Component";
    info.moduleName = m_name;
    CLSlogModule* const module = CLSlogModule::registerModule(info);
    // Inside logging no hook was asked for the level, so that the answer is not yet the last one.
    if (module != nullptr && !InsideLogging::active()) {
        m_module.store(module, std::memory_order_release);
    }
    return module != nullptr ? *module : noneModule();
}

const CLSlogModule& CLSlog::resolve(const CLSlogModule& module) {
    return &module == &noneModule() ? ownModule() : module;
}

void CLSlog::print(std::ostream& text, DebugDetail detail, const CLSlogModule& module,
                   OutputType type, bool descriptor) {
    const CLSlogModule& target = resolve(module);
    unsigned level = 0;
    if (type == TYPE_OUT) {
        level = detailRow(detail, LEVEL_MAPPING_LINE).level;
        if (target.getDetailDefault() < detail) return;
    }
    if (type == TYPE_LOG) CLSlogStaticData::s_staticData().callLogUtilityFunction();
    std::string tint;
    threadTintText(tint);
    std::string line(detailRow(detail, DETAIL_TAG_LINE).tag);
    line += tint;
    line += textOf(text);
    handOver(target.component(), level, line, descriptor);
}

void dbLog(std::ostream& text, DebugDetail detail, const CLSlogModule& module) {
    defaultLog().log(text, detail, module);
}

void dbError(std::ostream& text, DebugDetail detail, const CLSlogModule& module) {
    defaultLog().error(text, detail, module);
}

void dbOut(std::ostream& text, DebugDetail detail, const CLSlogModule& module) {
    defaultLog().out(text, detail, module);
}

} // namespace CLS_Debug
