#include "tests/registry_store/store_support.h"

#include <sys/prctl.h>

namespace fs = std::filesystem;

namespace {

std::string told(int status) {
    return '<' + std::to_string(status) + '>';
}

} // namespace

int set(przks_ctx* ctx, const std::string& name, const std::string& value) {
    return przks_create_n_set_key(ctx, nullptr, name.c_str(), nullptr, przks_dtype_ZELTEXT,
                                  value.data(), static_cast<unsigned>(value.size()), nullptr);
}

std::string get(przks_ctx* ctx, const std::string& name) {
    std::string value(PRZKS_MAX_VALUE, '\0');
    unsigned length = PRZKS_MAX_VALUE;
    const int status = on_key(ctx, name, [&](przks_key* key) {
        return przks_get_value(ctx, key, nullptr, value.data(), &length);
    });
    return status == PRZKS_OK ? value.substr(0, length) : told(status);
}

std::string subkeys(przks_ctx* ctx, const std::string& name) {
    std::string all;
    const int end = on_key(ctx, name, [&](przks_key* key) {
        char found[PRZKS_MAX_COMPONENT + 1];
        unsigned length = sizeof found;
        int status = 0;
        for (unsigned index = 0;
             (status = przks_enum_subkey(ctx, key, index, found, &length)) == PRZKS_OK;
             ++index, length = sizeof found)
            all.append(found, length) += ' ';
        return status;
    });
    return end == PRZKS_NOMORE ? all : told(end);
}

std::string dump(przks_ctx* ctx, const std::string& name) {
    std::string all;
    const std::string names = subkeys(ctx, name);
    if (names.starts_with('<')) return names;
    for (std::size_t at = 0; at < names.size();) {
        const std::string sub = names.substr(at, names.find(' ', at) - at);
        all += sub + '=' + get(ctx, name + '.' + sub) + ' ';
        const std::string below = dump(ctx, name + '.' + sub);
        if (!below.empty()) all += "( " + below + ") ";
        at += sub.size() + 1;
    }
    return all;
}

int on_key(przks_ctx* ctx, const std::string& name, const std::function<int(przks_key*)>& use) {
    przks_key* key = nullptr;
    int status = przks_open_key(ctx, name.c_str(), &key);
    if (status == PRZKS_OK) status = use(key);
    przks_close_key(ctx, key);
    return status;
}

int remove(przks_ctx* ctx, const std::string& name) {
    return on_key(ctx, name,
                  [&](przks_key* key) { return przks_delete_key(ctx, key, PRZKS_DELETE_TREE); });
}

std::string last_error(przks_ctx* ctx) {
    char text[PRZKS_ERRORTEXT_SIZE];
    przks_get_last_error(ctx, text, sizeof text);
    return text;
}

std::string in_child(const std::function<std::string()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return "<no pipe>";
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const std::string answer = work();
        const bool told_all =
            write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
        _exit(told_all ? 0 : 1);
    }
    close(ends[1]);
    std::string answer;
    char part[512];
    for (ssize_t got = 0; (got = read(ends[0], part, sizeof part)) > 0;)
        answer.append(part, static_cast<std::size_t>(got));
    close(ends[0]);
    return status_of(child) == 0 ? answer : "<died>";
}

void RegistryStore::SetUp() {
    m_folder = make_folder();
    m_store = m_folder + "/store";
    m_url = "dir:" + m_store;
    ASSERT_EQ(przks_create_store(m_url.c_str(), nullptr, nullptr, nullptr), PRZKS_OK);
    m_ctx = open(PRZKS_DEFAULT);
    ASSERT_NE(m_ctx, nullptr);
}

void RegistryStore::TearDown() {
    przks_terminate(m_ctx);
    std::error_code ignored;
    fs::remove_all(m_folder, ignored);
}

przks_ctx* RegistryStore::open(unsigned level, unsigned flags) {
    przks_init_arg arg{flags, m_url.c_str()};
    przks_ctx* ctx = nullptr;
    m_status = przks_init_ext2(&ctx, level, m_text, nullptr, &arg);
    return ctx;
}

int RegistryStore::leftovers() const {
    int count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(m_store)) {
        const std::string name = entry.path().filename();
        count += name.starts_with("=t") || name.starts_with("=d") ? 1 : 0;
    }
    return count;
}
