// Opens, uses and closes the CLI channel. The service runs the command line; this only carries commands, the answers to
// their prompts, and what the router printed.
#include "api/cli.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "api/frame.h"
#include "api/operation.h"
#include "common/heap_text.h"
#include "session/session.h"
#include "session/socket.h"
#include "session/state.h"

namespace {

// Elements of CLI requests and replies.
enum : std::int32_t {
    kOperation = 0,
    kErrorText = 2,
    kClientFile = 5,
    kHandle = 6,
    kCommand = 7,
    kOutput = 9,
    kFirstChoice = 10, // key; its value is the next tag, the next key the one after that
};

enum : std::int32_t {
    kOpen = 15,
    kOpened = 16,
    kExecute = 17,
    kExecuted = 18,
    kClose = 19,
    kClosed = 20,
};

constexpr char kSave[] = "save";
constexpr char kSaveChoice[] = "\"continue\":\"y\"";

Elements& begin(Elements& elements, std::int32_t operation) {
    return elements.Text(kClientFile, py_file).Int(kOperation, operation);
}

// Opening and closing carry nothing but numbers, and what cannot be built leaves no record.
constexpr ScriptRequest kOpenRequest = {"vela_cli_open_imp", kOpened, nullptr, nullptr, " SendRequest faided"};
constexpr ScriptRequest kCloseRequest = {"vela_cli_close_imp", kClosed, nullptr, nullptr, " SendRequest failed"};

} // namespace

std::uint32_t vela_cli_open_imp(std::uint32_t* cli_hdl) {
    if (cli_hdl == nullptr) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cli_hdl = NULL", VELA_HERE);
        return VELA_ERROR;
    }
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d session not open", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (g_bCliIsOpen != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cli has opened", VELA_HERE);
        return VELA_ERROR;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d py_file = NULL", VELA_HERE);
        return VELA_ERROR;
    }

    Elements elements;
    begin(elements, kOpen);
    Frame reply;
    if (!send_script(kOpenRequest, std::move(elements), reply))
        return VELA_ERROR;
    const TlvPtr view = view_operation(reply);
    if (!is_acknowledged(kOpenRequest, view.get()))
        return VELA_ERROR;
    if (tlv_get_u32(view.get(), kHandle, cli_hdl) != 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d get handle from tlv_s failed", VELA_HERE);
        return VELA_ERROR;
    }
    if (*cli_hdl == 0) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cli handle = 0", VELA_HERE);
        return VELA_ERROR;
    }
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d cli open success, cli handle = %d", VELA_HERE,
                   static_cast<std::int32_t>(*cli_hdl));
    g_uiCliHdl = *cli_hdl;
    g_sock.RaiseWhileConnected(g_bCliIsOpen);
    return VELA_OK;
}

// Execute

namespace {

std::int32_t fail(const char* function, int line, const char* text, std::int32_t code) {
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s", function, line, text);
    return code;
}

// The session is not asked for: an open channel implies it.
std::int32_t check_command(const char* function, const char* command) {
    if (g_bCliIsOpen != 1)
        return fail(function, __LINE__, "cli not open", VELA_ERROR);
    if (!has_client_name())
        return fail(function, __LINE__, "py_file = NULL", VELA_ERROR);
    if (command == nullptr || command[0] == '\0')
        return fail(function, __LINE__, "invalid param command", VELA_ERROR_PARAM);
    return VELA_OK;
}

// Either of the two functions that run a command.
constexpr ScriptRequest execute_request(const char* function) {
    return {function, kExecuted, " tlv init failed", " tlv init construct failed", " SendRequest failed"};
}

// Sends the command with its answers (key, value, key, value ... as they are to be sent).
bool send_command(const ScriptRequest& what, std::uint32_t handle, const char* command,
                  const std::vector<std::string>& answers, Frame& reply) {
    Elements elements;
    begin(elements, kExecute).U32(kHandle, handle).Text(kCommand, command);
    std::int32_t tag = kFirstChoice;
    for (const std::string& answer : answers)
        elements.Text(tag++, answer.c_str());
    return send_script(what, std::move(elements), reply);
}

// Gives the caller a copy of the output, or null where there is none.
std::int32_t hand_out(const char* function, const char* output, char** result) {
    *result = nullptr;
    if (output == nullptr || output[0] == '\0')
        return VELA_OK;
    *result = copy_of(output).release();
    return *result != nullptr ? VELA_OK : fail(function, __LINE__, "memory use out, malloc failed", VELA_ERROR_MEMORY);
}

// The last pair written is sent first; the service is promised this order.
std::vector<std::string> last_pair_first(const char* choice) {
    const std::vector<std::string> written = parse_s_vector(choice);
    std::vector<std::string> sent;
    sent.reserve(written.size());
    for (std::size_t after = written.size(); after != 0; after -= 2) {
        sent.push_back(written[after - 2]);
        sent.push_back(written[after - 1]);
    }
    return sent;
}

// How many characters of the text are the secret, line ends that the router has put into it included; 0 for none.
std::size_t match(const char* text, const std::string& secret) {
    const char* at = text;
    for (std::size_t i = 0; i < secret.size(); ++at) {
        if (*at == secret[i])
            ++i;
        else if (i == 0 || (*at != '\r' && *at != '\n'))
            return 0;
    }
    return static_cast<std::size_t>(at - text);
}

void mask(std::string& text, const std::string& secret) {
    constexpr char stars[] = "*******";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::size_t length = match(text.c_str() + at, secret);
        if (length == 0)
            continue;
        text.replace(at, length, stars);
        at += std::strlen(stars) - 1;
    }
}

// A text as a record may show it.
class Shown {
public:
    // Without a secret nothing is copied.
    Shown(const char* text, const char* secret) : text_(printable(text)) {
        if (secret == nullptr || secret[0] == '\0')
            return;
        masked_ = text_;
        mask(masked_, secret);
        constexpr char blanks[] = " \t\r\n"; // where the router's command line ends a word; it may name one
        for (const char* word = secret; *word != '\0'; word += std::strcspn(word, blanks)) {
            word += std::strspn(word, blanks);
            if (const std::size_t length = std::strcspn(word, blanks); length != 0)
                mask(masked_, std::string(word, length));
        }
        text_ = masked_.c_str();
    }
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;

    const char* Text() const { return text_; }

private:
    std::string masked_;
    const char* text_;
};

std::int32_t execute(const char* function, std::uint32_t cli_hdl, const char* command, const char* choice,
                     char** result, const char* secret) {
    if (const std::int32_t code = check_command(function, command); code != VELA_OK)
        return code;
    Frame reply;
    if (!send_command(execute_request(function), cli_hdl, command, last_pair_first(choice), reply))
        return VELA_ERROR;

    // A rejected command hands its output out too: it is the router's own error message.
    const TlvPtr view = view_operation(reply);
    const char* output = tlv_get_text(view.get(), kOutput);
    if (result != nullptr)
        if (const std::int32_t code = hand_out(function, output, result); code != VELA_OK)
            return code;

    // Before the check, which cuts the reply's text, through the middle of a secret perhaps.
    const Shown reason(tlv_get_text(view.get(), kErrorText), secret);
    char errText[kErrorTextSize] = {};
    if (ops_check_err(view.get(), kExecuted, errText) != 0)
        return VELA_OK;
    if (secret != nullptr && tlv_get_int(view.get(), kOperation) == kExecuted)
        std::snprintf(errText, sizeof errText, "%s", reason.Text());
    VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d %s,command = %s, choice = %s, result = %s", function, __LINE__,
                   errText, Shown(command, secret).Text(), printable(choice), Shown(output, secret).Text());
    return VELA_ERROR;
}

// Both run under the name of the one that the exported function calls.
std::int32_t execute_within_memory(std::uint32_t cli_hdl, const char* command, const char* choice, char** result,
                                   const char* secret) {
    constexpr char function[] = "vela_cli_execute_imp";
    try {
        return execute(function, cli_hdl, command, choice, result, secret);
    } catch (const std::bad_alloc&) {
        if (result != nullptr)
            *result = nullptr;
        return fail(function, __LINE__, "memory use out, malloc failed", VELA_ERROR_MEMORY);
    }
}

} // namespace

std::int32_t vela_cli_execute_imp(std::uint32_t cli_hdl, const char* command, const char* choice, char** result) {
    return execute_within_memory(cli_hdl, command, choice, result, nullptr);
}

std::int32_t vela_cli_execute_hiding(std::uint32_t cli_hdl, const char* command, const char* secret) {
    return execute_within_memory(cli_hdl, command, nullptr, nullptr, secret);
}

std::uint32_t vela_cli_execute_imp_back(std::uint32_t cli_hdl, const char* command, const char* choice, char** result) {
    if (const std::int32_t code = check_command(__func__, command); code != VELA_OK)
        return static_cast<std::uint32_t>(code);
    if (result == nullptr) {
        // The record carries the format in the place of the function's name.
        constexpr char text[] = "%s %d invalid param result = NULL";
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d invalid param result = NULL", text, __LINE__);
        return VELA_ERROR;
    }
    std::vector<std::string> answers;
    for (const auto& [key, value] : parse_s(choice)) {
        VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d key = %s value = %s", VELA_HERE, key.c_str(), value.c_str());
        answers.push_back(key);
        answers.push_back(value);
    }
    const ScriptRequest what = execute_request(__func__);
    Frame reply;
    if (!send_command(what, cli_hdl, command, answers, reply))
        return VELA_ERROR;

    const TlvPtr view = view_operation(reply);
    if (const std::int32_t code = hand_out(__func__, tlv_get_text(view.get(), kOutput), result); code != VELA_OK)
        return static_cast<std::uint32_t>(code);

    return is_acknowledged(what, view.get()) ? VELA_OK : VELA_ERROR;
}

// Save

std::int32_t vela_cli_save_imp() {
    if (g_bCliIsOpen != 0) {
        const std::int32_t code = vela_cli_execute_imp(g_uiCliHdl, kSave, kSaveChoice, nullptr);
        if (code != VELA_OK)
            VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d vela_cli_execute_imp(\"save\") failed", VELA_HERE);
        return code;
    }

    std::uint32_t handle = 0;
    if (vela_cli_open_imp(&handle) != VELA_OK) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d vela_cli_open_imp failed", VELA_HERE);
        return VELA_ERROR;
    }
    if (vela_cli_execute_imp(handle, kSave, kSaveChoice, nullptr) != VELA_OK) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d vela_cli_execute_imp(\"save\") failed", VELA_HERE);
        return VELA_ERROR; // the channel stays open, as promised
    }
    if (vela_cli_close_imp(handle) != VELA_OK) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d cli close failed", VELA_HERE);
        return VELA_ERROR;
    }
    return VELA_OK;
}

// Close

std::uint32_t vela_cli_close_imp(std::uint32_t cli_hdl) {
    if (g_bSessionIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d please open session first", VELA_HERE);
        return VELA_ERROR_NO_SESSION;
    }
    if (g_bCliIsOpen != 1) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d please open cli first", VELA_HERE);
        return VELA_ERROR;
    }
    if (!has_client_name()) {
        VELA_DEBUG_LOG(VELA_LOG_ERROR, VELA_LOG_API, "%s %d py_file = NULL", VELA_HERE);
        return VELA_ERROR;
    }

    Elements elements;
    begin(elements, kClose).U32(kHandle, cli_hdl);
    Frame reply;
    if (!send_script(kCloseRequest, std::move(elements), reply))
        return VELA_ERROR;
    const TlvPtr view = view_operation(reply);
    if (!is_acknowledged(kCloseRequest, view.get()))
        return VELA_ERROR;
    VELA_DEBUG_LOG(VELA_LOG_INFO, VELA_LOG_API, "%s %d cli close success, cli handle = %d", VELA_HERE,
                   static_cast<std::int32_t>(cli_hdl));
    g_bCliIsOpen = 0;
    return VELA_OK;
}

// Choice strings

std::vector<std::string> parse_s_vector(const char* choice) {
    if (choice == nullptr)
        return {};
    std::vector<const char*> quotes;
    for (const char* at = std::strchr(choice, '"'); at != nullptr; at = std::strchr(at + 1, '"'))
        quotes.push_back(at);
    if (quotes.size() % 2 != 0)
        return {};

    std::vector<std::string> texts;
    for (std::size_t pair = 0; pair + 4 <= quotes.size(); pair += 4) {
        texts.emplace_back(quotes[pair] + 1, quotes[pair + 1]);
        texts.emplace_back(quotes[pair + 2] + 1, quotes[pair + 3]);
    }
    return texts;
}

std::map<std::string, std::string> parse_s(const char* choice) {
    const std::vector<std::string> texts = parse_s_vector(choice);
    std::map<std::string, std::string> pairs;
    for (std::size_t at = 0; at < texts.size(); at += 2)
        pairs[texts[at]] = texts[at + 1];
    return pairs;
}

std::int32_t vela_cli_open(std::uint32_t* cli_hdl) {
    return exported(__func__, [&] { return vela_cli_open_imp(cli_hdl); });
}

std::int32_t vela_cli_execute(std::uint32_t cli_hdl, const char* command, const char* choice, char** result) {
    return exported(__func__, [&] { return vela_cli_execute_imp(cli_hdl, command, choice, result); });
}

std::int32_t vela_cli_save(void) { return exported(__func__, vela_cli_save_imp); }

std::int32_t vela_cli_close(std::uint32_t cli_hdl) {
    return exported(__func__, [&] { return vela_cli_close_imp(cli_hdl); });
}
