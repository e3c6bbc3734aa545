#include "tav/comm/Container.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

template <class Form>
Form formOf(const TAV::Container& container) {
    Form form;
    container.serialize(form);
    return form;
}

/// What can be read must be the same message after another way through both coders.
template <class Form, class Position>
void readAndCheck(Form form) {
    TAV::Container first;
    Position position = 0;
    if (!first.deSerialize(form, position)) return;
    if (position > form.size()) std::abort();
    Form written = formOf<Form>(first);
    TAV::Container second;
    position = 0;
    if (!second.deSerialize(written, position) || position != written.size()) std::abort();
    if (formOf<Form>(second) != written) std::abort();
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> elements(1);
    for (const char c : text) {
        if (c == '\n') {
            elements.emplace_back();
        } else {
            elements.back() += c;
        }
    }
    return elements;
}

} // namespace

/// Refused inputs are logged: without a configuration there is no log.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return setenv("VORN_NODE_CONF", "/nonexistent/node.conf", 1);
}

/// The input is taken both as a compact string and, a line an element, as a list of strings.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(data, data + size);
    readAndCheck<std::string, unsigned long>(text);
    readAndCheck<std::vector<std::string>, unsigned int>(lines(text));
    return 0;
}
