// What the provisioning recipes share: typing commands into the library's one CLI channel, asking what the router
// shows, and reading numbers out of what it prints. All of it runs on the caller's thread and takes no lock: while a
// recipe runs, nobody else may type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "common/debug_log.h"
#include "common/heap_text.h"

// Commands and texts to look for are written as printf's formats, and are as long as they need to be.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The router's verdict on a command, and what it printed: null when that was nothing.
struct Answer {
    bool accepted;
    HeapText output;
};
Answer ask(const char* command);

// Types a command. False when the router refuses it.
bool send(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The same for a command that holds a secret, which no record shows.
bool send_hiding(const char* secret, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Whether the text is in the configuration that the present view shows. A view that cannot be shown has no texts.
bool shown(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The steps of one function: each tells whether it was done, and otherwise writes one record, level 3, with the
// function's name and what the comment shows.
class Console {
public:
    explicit Console(const char* function) : function_(function) {}
    const char* Function() const { return function_; } // for records of another level

    // "FAILURE"
    bool Check(bool done, const char* failure, int line = __builtin_LINE()) const;
    bool Fail(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    // "COMMAND"
    bool Type(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    bool TypeUnlessShown(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    bool TypeAnswering(const char* choice, const char* command) const;
    // "COMMAND, result = OUTPUT"
    Answer Ask(const char* command) const;
    bool TypeForReply(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    // Runs a part of a recipe. One for which there is no memory has failed, so that the recipe still cleans up.
    template <class Part> bool Attempt(Part part) const {
        try {
            return part();
        } catch (const std::bad_alloc&) {
            return Check(false, "memory use out, malloc failed");
        }
    }

private:
    bool TypeCommand(const char* command, const char* choice = nullptr) const;

    const char* function_;
};

bool contains(const HeapText& output, const char* piece);

bool is_empty(const char* text);

// An argument of a command; a missing one is typed as nothing.
const char* typed(const char* argument);

// A longer text that is searched for many pieces, which mostly stand in the order of the questions: each search begins
// where the last one succeeded, and only then at the start.
class Listing {
public:
    explicit Listing(const char* text) : text_(text), from_(text) {}
    bool Has(const char* piece);

private:
    const char* text_;
    const char* from_;
};

// The number at the start of the at most `width` characters at `digits`, as atoi reads it; one that no number of
// 32 bits holds is the nearest that does.
std::int32_t number_at(const char* digits, std::size_t width);

// Opens the channel when it is closed, which *opened_here tells, and goes to user mode. *handle is written only when
// the channel is opened here, and is used as it is otherwise.
bool cli_channel_process(std::uint32_t* handle, bool* opened_here);

// The end of what cli_channel_process began, when it was opened there; recorded under the recipe's name.
bool close_channel(const Console& console, std::uint32_t handle, bool opened_here);

bool entry_system_mode();
bool return_user_mode();

// Whether the text occurs in what display_command prints. False, too, when the command fails.
bool check_rule_exsit(const char* text, const char* display_command);

// Reads "INTEGER<low-high>" out of the help that command prints: behind the keyword, between the three marks.
bool get_id_range(std::int32_t* low, std::int32_t* high, const char* command, const char* keyword, const char* left,
                  const char* middle, const char* right);

// The WLAN ids that a radio offers. Nothing calls it.
bool get_wlan_id_range(std::int32_t* low, std::int32_t* high, const char* radio_if);

// The one cellular interface that is supported, which null means too. out_name holds kInterfaceNameSize bytes.
constexpr std::size_t kInterfaceNameSize = 14;
bool get_interface_name(const char* interface_name, char* out_name);

// The radio's number in object names.
bool convert_radio_interface_to_value(const char* radio_if, std::int32_t* value);

// The number that the router gave the access list of the cellular recipe.
bool get_vela_acl_num(const char* interface_name, std::int32_t* acl_num);
