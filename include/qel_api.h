/*
 * libqel_api: programs on a Quor router talk to the router's own management service.
 *
 * Life cycle. vela_init starts the library, vela_session_open connects to the service and is granted a session,
 * vela_cli_open opens the CLI channel. What was opened is closed in reverse: vela_cli_close, vela_session_close (which
 * closes an open CLI channel by itself), vela_release. A process has one session and at most one CLI channel. When the
 * service hangs up, the session and the channel are closed with it; calls then return VELA_ERROR_NO_SESSION, or
 * VELA_ERROR where that is not among their codes, until the next vela_session_open. After vela_release the library can
 * be started again with vela_init. vela_release does not close a session: close it first. Call vela_init once: a second
 * call without a release between starts a second pair of threads. The shared object stays loaded until the process
 * ends.
 *
 * File descriptors. Each vela_init leaves one open until the process ends. Each vela_session_open makes a new
 * connection, and then closes the one before if the service has hung up on it; one that the service still holds open
 * stays open until the process ends.
 *
 * Threads. Any thread may call any function. One request is on its way at a time, the others wait their turn. Start,
 * stop, open and close from one thread, or see to it that no two of these calls run at once. The library runs three
 * threads of its own, detached: two from vela_init to vela_release, one from vela_session_open until the session ends.
 * They block all signals but those that a fault of their own raises: SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS.
 * They are asked to end, not waited for. No function is a cancellation point: a thread that is cancelled inside one
 * first finishes the call. None may be called from a signal handler. A child process made by fork has none of the
 * threads: call nothing but vela_version, vela_malloc and vela_free there before exec.
 *
 * Callbacks. Events reach the application through the callback that vela_event_reg was given, on one thread of the
 * library's own, one at a time, in the order in which the service sent them. The two texts that a callback gets live
 * until it returns: copy what is to be kept. While a callback runs, the next event that arrives stops all reading from
 * the service until the callback returns. A callback may call any function of this library, but one that waits for the
 * service ends after 60 seconds with VELA_ERROR when an event arrives before its reply: let callbacks return promptly,
 * and ask from other threads. A callback must not throw and must not end its thread. One that has been freed may still
 * be running, or be about to run, when vela_event_free returns. A program that a callback starts inherits the blocked
 * signals, SIGTERM and SIGINT among them: unblock them in the child before exec (sigprocmask with an empty set), or
 * have posix_spawn do so (posix_spawnattr_setsigmask, POSIX_SPAWN_SETSIGMASK). system and popen leave no room for that:
 * call them from other threads.
 *
 * Time-outs. A request waits at most 60 seconds of the real-time clock for its reply; a change of that clock moves the
 * end of the wait. A service that hangs up during the wait does not end it early. A signal handled by the waiting
 * thread without SA_RESTART ends the wait, and the call fails although the request was sent. A reply that comes too
 * late is dropped. Before that, while the service takes no bytes, or no connection from vela_session_open, the call
 * waits for up to 60 seconds more, and fails when they are over; any signal that its thread handles meanwhile makes it
 * fail too, and the request was not sent. Both limits are fixed. Functions that wait say so below, with the limit of
 * the first wait; the others return at once.
 *
 * Ownership. What a function takes it only reads during the call. A text that it hands out is a block of its own: give
 * it back with vela_free (or free). A result pointer is written only where its function says so.
 *
 * Errors. Functions return a result code, VELA_OK or what went wrong, and never throw. A failure writes at least one
 * record that tells more to the system log, with the identity "Vela-Quor", unless it is said otherwise. For that the
 * library opens and closes the system log around each record, which ends an openlog of the application's own: an
 * application that writes to the system log itself calls openlog again before it does. Nothing is retried. Sending to a
 * service that has gone is a failed request, never a SIGPIPE.
 */
#ifndef QEL_API_H
#define QEL_API_H

#include <stdint.h>

#if defined(__GNUC__)
#define VELA_EXPORT __attribute__((visibility("default")))
#else
#define VELA_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Result codes.
 *
 * A code that is not among these comes from vela_session_open alone: an unknown connection type is returned as it is.
 */
enum {
    VELA_OK = 0,
    VELA_ERROR = 1,               /* not sent, refused by the service, unusable reply, wrong state, missing argument */
    VELA_ERROR_PARAM = 2,         /* invalid parameter */
    VELA_ERROR_NOT_INIT = 3,      /* vela_init has not succeeded */
    VELA_ERROR_NULL = 4,          /* a required pointer is null */
    VELA_ERROR_TIMEOUT = 7,       /* no reply within 60 seconds; the functions below report it as VELA_ERROR */
    VELA_ERROR_TYPE = 11,         /* connection type 1, which is not offered */
    VELA_ERROR_MEMORY = 12,       /* no memory to run a router command, or for its output */
    VELA_ERROR_NO_SESSION = 14,   /* no session is open */
    VELA_ERROR_ENCODE = 15,       /* the request could not be built */
    VELA_ERROR_SESSION_OPEN = 16, /* a session is open already */
    VELA_ERROR_SHORT_REPLY = 17,  /* the reply is shorter than the query needs */
    VELA_ERROR_LOG_LIBRARY = 20,  /* the log library did not start */
    VELA_ERROR_THREAD = 22,       /* a thread could not be started */
    VELA_ERROR_LENGTH = 23        /* a reply of impossible length; the functions below report it as VELA_ERROR */
};

/*
 * Start and stop
 */

/*
 * Starts the log library and the library's two service threads. Does not wait for anything.
 *
 * VELA_OK; VELA_ERROR_LOG_LIBRARY; VELA_ERROR_THREAD: the first thread could not be started; VELA_ERROR: the second
 * could not, and the first keeps running. Nothing that was done is undone on a failure.
 */
VELA_EXPORT int32_t vela_init(void);

/*
 * Stops the log library, marks the CLI channel closed without telling the service, and asks the service threads to end.
 * A callback or a record in progress is finished first, but not waited for. Runs whether or not the library was
 * started, and may be repeated.
 *
 * VELA_OK; VELA_ERROR: the log library did not stop, and everything else stays as it is.
 */
VELA_EXPORT int32_t vela_release(void);

/*
 * Version and memory. These work at any time, before vela_init and after vela_release too, and return at once.
 */

#define VELA_VERSION_SIZE 22 /* bytes that vela_version fills, the NUL included */

/*
 * Copies the library's version, "Vela Quor v1.5.70.000" and its NUL, to version, which holds VELA_VERSION_SIZE bytes.
 *
 * VELA_OK; VELA_ERROR: version is null.
 */
VELA_EXPORT int32_t vela_version(char* version);

/*
 * A block of size bytes, not cleared, from the heap that the library's texts come from; null when there is no memory.
 * For size 0 it returns what malloc returns.
 */
VELA_EXPORT void* vela_malloc(uint32_t size);

/*
 * Gives back a block from vela_malloc or a text that a function handed out. Null is ignored. Always VELA_OK.
 */
VELA_EXPORT int32_t vela_free(void* block);

/*
 * Session
 */

typedef struct tagVELA_SESSION_CFG_T {
    char reserved[64];    /* not read */
    char client_name[64]; /* told to the service: up to 64 bytes; a NUL ends a shorter text */
    int32_t type;         /* 0: the local socket. Nothing else is offered */
    char server_addr[16]; /* not used */
    uint16_t server_port; /* not used */
} tagVELA_SESSION_CFG_T;

/*
 * Connects to the service and opens a session. On success *session_hdl receives the session's handle; otherwise it is
 * untouched. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_NOT_INIT; VELA_ERROR_NULL: session_hdl or cfg is null; VELA_ERROR_SESSION_OPEN; VELA_ERROR_TYPE
 * for type 1, and any other type but 0 as it is; VELA_ERROR: no service listens, or it refused or did not answer. A
 * failed call may be repeated.
 */
VELA_EXPORT int32_t vela_session_open(const tagVELA_SESSION_CFG_T* cfg, uint32_t* session_hdl);

/*
 * Closes the CLI channel when it is open, then the session. The handle is not examined: a process has one session.
 * Waits for the service, at most 60 seconds for each of the two.
 *
 * VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR: the service refused or did not answer, and the session stays open.
 */
VELA_EXPORT int32_t vela_session_close(uint32_t session_hdl);

/*
 * Tells the service that the client is still there. The library never does so by itself. The handle is not examined.
 * Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR: the service refused or did not answer. The last two, and a request that
 * could not be sent, may leave no record of their own.
 */
VELA_EXPORT int32_t vela_session_keepalive(uint32_t session_hdl);

/*
 * CLI channel. It is meant for one thread at a time.
 */

/*
 * Opens the CLI channel. On success *cli_hdl receives its handle. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR: cli_hdl is null, the channel is open already, the service refused or did
 * not answer, or it granted the handle 0 (which then stands in *cli_hdl).
 */
VELA_EXPORT int32_t vela_cli_open(uint32_t* cli_hdl);

/*
 * Runs one router command, as an operator would type it, and hands out what the router printed.
 *
 * command  The command line, not empty.
 *
 * choice   The answers to the prompts that the command may raise; null or empty for none. Pairs of quoted texts: a
 *          piece of the prompt, and the answer to it, as in "continue":"y" with the quotes. What stands between the
 *          quoted texts is ignored; a quoted text cannot hold a quote. An odd number of quotes is no pair at all, and a
 *          last text without a partner is ignored.
 *
 * result   Null, or where to put the output: a text that the caller gives back with vela_free, or null when the router
 *          printed nothing. It is written whenever the service answered, a rejected command included: its output is the
 *          router's error message.
 *
 * Command and choices are sent whole: together they may take about 7,900 bytes, 8 for each text included. Waits for the
 * service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_PARAM: command is null or empty; VELA_ERROR_MEMORY: no memory for the choices (nothing is sent)
 * or for the output, and *result is null; VELA_ERROR: the channel is not open, the texts do not fit a request (nothing
 * is sent), the router rejected the command, the service did not answer.
 */
VELA_EXPORT int32_t vela_cli_execute(uint32_t cli_hdl, const char* command, const char* choice, char** result);

/*
 * Saves the router's running configuration: runs "save" and answers its "continue" prompt with "y", on the open CLI
 * channel, or else on one that it opens and closes for this. When saving fails on a channel of its own, that channel
 * stays open: close it with vela_session_close. Waits for the service, at most 60 seconds for each of up to three
 * requests.
 *
 * VELA_OK; VELA_ERROR: no session, the router refused, the service did not answer; VELA_ERROR_MEMORY: no memory for the
 * request, on an open channel.
 */
VELA_EXPORT int32_t vela_cli_save(void);

/*
 * Closes the CLI channel. The handle is passed to the service as it is. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR: the channel is not open, the service refused (the channel stays open) or
 * did not answer.
 */
VELA_EXPORT int32_t vela_cli_close(uint32_t cli_hdl);

/*
 * Events
 *
 * Take a handle, add subscriptions to it, each under a tag of the application's own, register one callback for the
 * handle, and later free it. A process has 16 handles, 0 to 15; 0 is a valid one. When the service hangs up, all of
 * them are freed and every callback and tag is forgotten.
 *
 * The service knows this client by the name of the thread that opened the session and stamps each event with it: call
 * vela_event_reg from that thread. From another thread the call succeeds, and no event finds its callback.
 *
 * For the same reason one handle can be registered at a time. vela_event_reg for a second one first tells the service
 * that handle's tags, in the place of the first one's: the first one's events stop, and the second one's go to the
 * first one's callback. Then it fails, or from another thread succeeds. vela_event_reg for the first handle again fails
 * too, but puts its tags back. When the call for the second one failed, freeing either takes the callback along; the
 * one that is left must be registered again before it can be freed.
 */

/* What an event tells of. Other values are refused. */
typedef int32_t tagVELA_EVENT;
enum {
    VELA_EVENT_ICLOG = 0,   /* a line of the information centre's log */
    VELA_EVENT_IFSTATE = 2, /* the state of an interface */
    VELA_EVENT_ROUTE = 3    /* a route */
};

/*
 * Receives one event.
 *
 * session  The session id in the event's header: the low 16 bits of the session handle, not an event handle.
 * tag      The tag under which the event was subscribed.
 * kind     The kind that was added under this tag; 0 when this process knows no such tag, which is also so for the tags
 *          that are left after any handle was freed.
 * content  The event as a text, or null when it has none.
 * unused   Always 0.
 */
typedef void (*fEventCallBack)(uint32_t session, const char* tag, tagVELA_EVENT kind, void* content, int unused);

/*
 * What to subscribe to: one record for each kind. Every text ends with a NUL within its field. The record is read
 * during the call only. The last text of a log and of a route record may be longer than it is here, in a record of the
 * application's own that goes on: it is read up to its NUL.
 */

typedef struct tagVELA_ICLOG_PARA {
    char reserved[64];  /* not read */
    char text[64];      /* what the service compares with; may be empty */
    uint32_t level;     /* the level; with 8, any level, the texts must narrow the subscription down, see below */
    char infoAlias[64]; /* the record's alias; with level 8 and no other text at least 4 characters */
    char loginfo[256];  /* a piece of the record; with level 8 and no other text at least 10 characters */
} tagVELA_ICLOG_PARA;

typedef struct tagVELA_IFSTATE_PARA {
    char reserved[64]; /* not read */
    char text[64];     /* the interface */
    uint32_t number1;
    uint32_t number2;
} tagVELA_IFSTATE_PARA;

typedef struct tagVELA_ROUTE_PARA {
    char reserved[64]; /* not read */
    char text1[16];
    uint32_t number;
    char text2[8];
    char text3[256];
} tagVELA_ROUTE_PARA;

/*
 * Takes a free event handle, the lowest first, and tells the service that a registration begins. On success *evt_hdl
 * receives the handle; otherwise it is untouched. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR: evt_hdl is null, all 16 handles are taken, no session is open, the service refused or did not
 * answer.
 */
VELA_EXPORT int32_t vela_event_new(uint32_t* evt_hdl);

/*
 * Subscribes to events of one kind under a tag. Waits for the service, at most 60 seconds.
 *
 * kind  One of VELA_EVENT_...
 * tag   A text, not empty, that does not stand anywhere in the handle's tags joined by " or ": a tag that is a piece of
 *       an earlier one is refused, and so is "or" after two tags. When the joined tags are longer than 256 characters a
 *       further tag is subscribed but no longer joined.
 * para  The kind's record.
 *
 * VELA_OK; VELA_ERROR_NULL: para is null; VELA_ERROR_NO_SESSION; VELA_ERROR: no such handle, no tag or one that is
 * known already, an unknown kind, a record that asks for too much or whose texts have no end, the service refused or
 * did not answer.
 */
VELA_EXPORT int32_t vela_event_add(uint32_t evt_hdl, tagVELA_EVENT kind, const char* tag, const void* para);

/*
 * Registers the handle's callback: events are delivered from now on. What is added to the handle later is subscribed,
 * but the service does not learn that it belongs to the handle. Events that arrive before are dropped with a record.
 * Waits for the service, at most 60 seconds for each of two requests.
 *
 * VELA_OK; VELA_ERROR_NULL: callback is null; VELA_ERROR_NO_SESSION; VELA_ERROR: no such handle, this thread has a
 * callback already (see above for what the service has been told by then), the service refused or did not answer.
 */
VELA_EXPORT int32_t vela_event_reg(uint32_t evt_hdl, fEventCallBack callback);

/*
 * Withdraws the handle's registration, forgets its callback, and forgets which kinds belong to the tags of every
 * handle: events for the others then arrive with kind 0. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR: no such handle, no session is open, the handle was never registered, the service refused or did
 * not answer; the handle stays taken.
 */
VELA_EXPORT int32_t vela_event_free(uint32_t evt_hdl);

/*
 * SNMP reads
 *
 * The library neither parses nor checks an OID. A text that is handed out is given back with vela_free.
 */

/*
 * Reads one object. On success *snmp_resp receives its value as a text; otherwise it is untouched. Waits for the
 * service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_PARAM: snmp_resp is null; VELA_ERROR_NO_SESSION; VELA_ERROR: oid is null, empty or too long for a
 * request, no such object or another refusal, no answer, no value in it, no memory.
 */
VELA_EXPORT int32_t vela_snmp_get(const char* oid, char** snmp_resp);

/*
 * Reads the object that follows oid. On success *next_oid receives its OID and *resp its value, as two texts; otherwise
 * both are untouched. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_PARAM: next_oid or resp is null; VELA_ERROR_NO_SESSION; VELA_ERROR: as for vela_snmp_get.
 */
VELA_EXPORT int32_t vela_snmp_get_next(const char* oid, char** next_oid, char** resp);

/*
 * Syslog
 */

/*
 * Has the service write a message into the device's system log. What each of the three texts is, is the service's
 * business. Waits for the service, at most 60 seconds.
 *
 * VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR: a text is null or they are too long for a request, the service refused or
 * did not answer.
 */
VELA_EXPORT int32_t vela_syslog(const char* text1, const char* text2, const char* text3);

/*
 * Device queries
 *
 * Each asks the service one question and fills a record of the caller's. The meaning and units of most values are the
 * service's; the library moves bytes. Each waits for the service, at most 60 seconds, and needs about 16 KiB of stack
 * besides the record.
 *
 * All of them return VELA_OK; VELA_ERROR_NO_SESSION; VELA_ERROR_ENCODE: the request could not be built or is too long;
 * VELA_ERROR: not sent, not answered, or the reply lacks an item; the service's own code, as it is, when the service
 * reports an error, and 0xFFFFFFFF when it reports nothing. What else a query returns is said there. On a failure the
 * record is untouched, but for items that were filled in before one was found missing. Where "number" is said of an
 * item it is 0xFFFFFFFF, or -1, when the reply lacks it. Nothing is written past the end of a record as it is declared
 * here.
 *
 * The last item of some records is as wide as the service makes it. Here it has all the width that one reply can carry,
 * so none is too long. No more of it is written than the service sent, and how much that was is not told: clear the
 * record before. A program that knows its router may pass a smaller record of its own, with the same fields and the
 * last one no narrower than what that router sends.
 */

#define VELA_ESN_SIZE 7981 /* bytes of the longest serial number that one reply can carry, and of a NUL behind it */

/*
 * The serial number, a text, into esn. The library neither knows the buffer's size nor adds a NUL: a cleared buffer of
 * VELA_ESN_SIZE bytes holds whatever a reply carries, with a NUL behind it. A reply without the item leaves esn alone
 * and is VELA_OK. VELA_ERROR_PARAM: esn is null, asked before anything else.
 */
VELA_EXPORT uint32_t vela_dev_get_esn(char* esn);

/* The access status. A reply without it leaves *status alone and is VELA_OK. VELA_ERROR_PARAM: status is null. */
VELA_EXPORT uint32_t vela_dev_get_acc_status(uint32_t* status);

/*
 * Has the device back its configuration up; *result receives the outcome. A reply without it leaves *result alone and
 * is VELA_OK. A null result is not refused: the backup is made all the same.
 */
VELA_EXPORT uint32_t vela_dev_backup_cfg(int32_t* result);

typedef struct tagGPS_LOCATION_INFO {
    uint8_t item5[4];
    uint8_t item6[4];
#if defined(__GNUC__)
    __attribute__((aligned(8))) /* on every processor */
#endif
    uint8_t item7[8];
    uint8_t item8[8];
    uint8_t item9[8];
    uint8_t item10[4];
    uint8_t item11[4];
    uint8_t item12[7924]; /* as wide as one reply can carry */
} tagGPS_LOCATION_INFO;

/* The device's location. VELA_ERROR_PARAM: info is null. */
VELA_EXPORT uint32_t vela_gps_GetLocation(tagGPS_LOCATION_INFO* info);

typedef struct WLAN_STATION_INFO_tag {
    uint32_t item5;
    char item6[64]; /* a text */
    uint32_t item7;
    uint32_t item8;
    char item9[17];    /* a text without room for a NUL */
    char item10[7940]; /* a text as wide as one reply can carry; without a NUL when the service sends none */
} WLAN_STATION_INFO_tag;

/* One station of the WLAN. VELA_ERROR_NO_SESSION: info is null, too. */
VELA_EXPORT uint32_t vela_wlan_GetStationInfo(WLAN_STATION_INFO_tag* info);

typedef struct tagLTE_BREIFINFO_T {
    char text0[33]; /* not filled */
    char item5[33];
    char item6[33];
    char item7[33];
    char item8[33];
    char item9[33];
    int32_t item10; /* a number, and so to item17 */
    int32_t item11;
    int32_t item12;
    int32_t item13;
    int32_t item14;
    int32_t item15;
    int32_t item16;
    int32_t item17;
    uint32_t item18; /* left alone when the reply lacks it */
} tagLTE_BREIFINFO_T;

/* A summary of the cellular link. A null info is not refused, and nothing is filled. */
VELA_EXPORT uint32_t vela_arp_get_lte(tagLTE_BREIFINFO_T* info);

typedef struct tagLTE_CONNECTION_INFO {
    uint32_t item6;
    char item7[64]; /* a text */
    char item8[16]; /* a text */
    uint32_t item9;
    uint32_t item10;
    uint8_t item11[7940]; /* as wide as one reply can carry */
} tagLTE_CONNECTION_INFO;

/* The state of a cellular interface, Cellular0/0/0 when ifName is null. VELA_ERROR_PARAM: info is null. */
VELA_EXPORT uint32_t vela_cellular_GetInfo(const char* ifName, tagLTE_CONNECTION_INFO* info);

typedef struct tagLTE_SMS_INFO {
    char item6[32];   /* a text */
    char item7[7971]; /* a text as wide as one reply can carry, its NUL included */
} tagLTE_SMS_INFO;

/* A stored short message, by its index. VELA_ERROR_PARAM: info is null. */
VELA_EXPORT uint32_t vela_get_sms_info(uint32_t index, tagLTE_SMS_INFO* info);

/*
 * The hardware address, 6 bytes, that the ARP table holds for an IP address given as a text. VELA_ERROR_ENCODE: ip is
 * null. A null mac is not refused, and nothing is filled.
 */
VELA_EXPORT uint32_t vela_arp_get_mac_by_ip(const char* ip, uint8_t* mac);

typedef struct tagACCESS_USER_BREIFINFO_T {
    uint32_t user_ip;    /* the same value as oline_time; all numbers here are left alone when the reply lacks them */
    uint8_t reserved[8]; /* not filled */
    char ssid_name[64];
    uint32_t oline_time;
    uint32_t upbytes;
    uint32_t downbytes;
} tagACCESS_USER_BREIFINFO_T;

/*
 * The access user with a hardware address, 6 bytes. On success the record's fields are also printed to standard output,
 * a line each. VELA_ERROR_NULL: info is null, asked after the session and without a record; VELA_ERROR_ENCODE: mac is
 * null.
 */
VELA_EXPORT uint32_t vela_nac_get_access_by_mac(const uint8_t* mac, tagACCESS_USER_BREIFINFO_T* info);

typedef struct stVOICE_CALL_INFO {
    int32_t item6; /* a number, and so to item11 */
    int32_t item7;
    int32_t item8;
    int32_t item9;
    int32_t item10;
    int32_t item11;
    int32_t count;         /* how many entries are valid */
    int32_t entries[8][6]; /* as the service defines them */
} stVOICE_CALL_INFO;

/*
 * Calls in progress. VELA_ERROR_PARAM: info is null; VELA_ERROR: more than 8 entries, and count tells how many;
 * VELA_ERROR_SHORT_REPLY: an entry is missing or not 24 bytes long, and those before it are filled in.
 */
VELA_EXPORT uint32_t vela_voice_get_call_info(stVOICE_CALL_INFO* info);

typedef struct stVOICE_SIP_ACCOUNT_INFO {
    int32_t count;            /* how many accounts are valid */
    uint8_t accounts[10][66]; /* as the service defines them */
} stVOICE_SIP_ACCOUNT_INFO;

/*
 * Stores SIP accounts. count is not held to 10: a caller with a record of its own that goes on may store up to 107. The
 * service's outcome is the result. VELA_ERROR_PARAM: info is null; VELA_ERROR_ENCODE: more accounts than a request
 * carries, or a negative count, and nothing is sent.
 */
VELA_EXPORT uint32_t vela_voice_set_sip_account(const stVOICE_SIP_ACCOUNT_INFO* info);

/*
 * Reads the SIP accounts. VELA_ERROR_PARAM: info is null; VELA_ERROR: more than 10, and count tells how many;
 * VELA_ERROR_SHORT_REPLY: one is missing, and those before it are filled in.
 */
VELA_EXPORT uint32_t vela_voice_get_sip_account(stVOICE_SIP_ACCOUNT_INFO* info);

typedef struct tagVOICE_CITA_PARAM {
    uint8_t item5; /* the low 8 bits of a number, and so to item8 */
    uint8_t item6;
    uint8_t item7;
    uint8_t item8;
    char text9[33]; /* required, and so to item17 */
    char text10[33];
    char text11[33];
    char text12[33];
    char text13[33];
    char text14[33];
    uint8_t item15[6];
    uint8_t item16[6];
    char item17[33];
    int32_t item18; /* a number, and so to item25 */
    int32_t item19;
    int32_t item20;
    int32_t item21;
    int32_t item22;
    int32_t item23;
    int32_t item24;
    int32_t item25;
} tagVOICE_CITA_PARAM;

/*
 * The parameters of the CITA function. VELA_ERROR_PARAM: info is null; VELA_ERROR_SHORT_REPLY: a required item is
 * missing, and those before it are filled in.
 */
VELA_EXPORT uint32_t vela_voice_get_cita_param(tagVOICE_CITA_PARAM* info);

typedef struct tagVOICE_CITA_CONFIG_INFO {
    uint8_t item5[6]; /* required, and so to item12 */
    uint8_t item6[6];
    uint8_t item7[6];
    uint8_t item8[6];
    uint8_t item9[6];
    uint8_t item10[6];
    uint8_t item11[6];
    uint8_t item12[6];
    int32_t item13; /* a number, and so to item20 */
    int32_t item14;
    int32_t item15;
    int32_t item16;
    int32_t item17;
    int32_t item18;
    int32_t item19;
    int32_t item20;
} tagVOICE_CITA_CONFIG_INFO;

/* The configuration of the CITA function. Results as for vela_voice_get_cita_param. */
VELA_EXPORT uint32_t vela_voice_get_cita_config_info(tagVOICE_CITA_CONFIG_INFO* info);

/*
 * Provisioning
 *
 * Each call types a fixed list of commands into the CLI channel, one after the other; the commands of a call are told
 * in its manual page. It uses the open channel, or else opens one and closes it at the end. The router's configuration
 * is the only record of what was done: it is asked before something is added or removed, and it is not saved to the
 * start-up configuration (see vela_cli_save). While a call runs nothing else may use the CLI channel, and no two of
 * these calls may run at once. Each command waits for the service for at most 60 seconds.
 *
 * The texts are sent as they are given, so none may hold a blank or a line end that the router would take for its own.
 * The record of a command that the router refuses shows the command, the cellular password included. The WLAN pass
 * phrase is shown in no record: ******* stands in its place, in the command and in what the router printed. A command
 * that the application itself types with vela_cli_execute is shown as it is.
 */

/* How the cellular network asks for the credentials. Every other value means VELA_CELLULAR_AUTH_CHAP. */
typedef int32_t tagCELLULAR_AUTH_MODE;
enum {
    VELA_CELLULAR_AUTH_AUTO = 0, /* the router finds out */
    VELA_CELLULAR_AUTH_PAP = 1,
    VELA_CELLULAR_AUTH_BOTH = 2, /* sent as VELA_CELLULAR_AUTH_AUTO */
    VELA_CELLULAR_AUTH_CHAP = 3
};

/*
 * Makes the cellular interface the uplink of the default route: DNS resolution, the route, an access list and its
 * address translation, a dialer rule, an APN profile, and dialling. What stands on the router already is not added
 * again, so the call may be repeated. When a step fails, everything is taken down again as by vela_cellular_close.
 *
 * interface_name  "Cellular0/0/0", which null means too.
 *
 * apn             The access point's name. Null or empty: none is configured.
 *
 * user_name, password
 *                 The credentials, at most about 7,800 bytes together. One of them null or empty: none are configured.
 *
 * VELA_OK; VELA_ERROR_PARAM: another interface, and nothing was sent; VELA_ERROR: a step failed, whether taking down
 * what was done succeeded or not.
 */
VELA_EXPORT int32_t vela_cellular_open(const char* interface_name, const char* apn, const char* user_name,
                                       const char* password, tagCELLULAR_AUTH_MODE auth_mode);

/*
 * Takes down what vela_cellular_open made, and only what is there, so the call may be made on any router. The dialer
 * group, the APN profile's binding and the autodial number stay on the interface; DNS resolution is turned off whoever
 * turned it on. The first step that fails ends the call.
 *
 * VELA_OK; VELA_ERROR_PARAM: an interface other than "Cellular0/0/0", and nothing was sent; VELA_ERROR: a step failed.
 */
VELA_EXPORT int32_t vela_cellular_close(const char* interface_name);

/*
 * Makes an access point on the radio: a VLAN with an interface that has the address and serves DHCP and DNS, a WLAN-BSS
 * interface in the VLAN, a security profile when there is a pass phrase, a service set with the SSID, and its binding
 * to the radio. The VLAN and the WLAN-BSS interface get the lowest numbers that are free. When a step fails, everything
 * is removed again as by vela_wlan_delete_ap.
 *
 * radio_if     "Wlan-Radio0/0/0".
 *
 * vap_id       The WLAN id on the radio; it names the access point. An id is taken, too, for one that begins with the
 *              same digits: 1 for 12.
 *
 * ssid         1 to 32 bytes.
 *
 * pass_phrase  For WPA2. Null: an open network. Empty: a security profile is made, but the network stays open.
 *
 * ip_address, mask
 *              As the router's command "ip address" takes them. One that is null is sent as nothing, like an empty
 *              one: the router refuses the command, and the call fails as at any other step.
 *
 * VELA_OK; VELA_ERROR_PARAM: an argument that is not as said above, with nothing sent, or the WLAN id is taken;
 * VELA_ERROR: an access point of this library's has the SSID on this radio, or a step failed, whether removing what was
 * done succeeded or not.
 */
VELA_EXPORT int32_t vela_wlan_create_ap(const char* radio_if, uint32_t vap_id, const char* ssid,
                                        const char* pass_phrase, const char* ip_address, const char* mask);

/*
 * Removes the access point that vela_wlan_create_ap made under this WLAN id, or what is there of it. A part that fails
 * does not keep the others from being removed. The DNS proxy and DHCP stay on.
 *
 * VELA_OK; VELA_ERROR_PARAM: a radio other than "Wlan-Radio0/0/0", and nothing was sent; VELA_ERROR: a part was not
 * removed, as when the radio has no such binding: so the second of two calls.
 */
VELA_EXPORT int32_t vela_wlan_delete_ap(const char* radio_if, uint32_t vap_id);

#ifdef __cplusplus
}
#endif

#endif
