/* tome.h: the interface to Tome, a library for version history and storage of file trees. C11, no C++ needed.
 *
 * Conventions
 *   Calls      Every operation takes, in this order: the globals record, its own parameter record, a user value and a
 *              callback. It returns 0 on success and a non-zero error code otherwise. Parameter records start as all
 *              zero; a zeroed field means "not given".
 *   Results    arrive as events: the callback runs on the calling thread, before the operation returns, with the user
 *              value unchanged. An event and everything it points to live only until the callback returns.
 *   Errors     A failed operation sends TOME_EVENT_ERROR_TEXT (one line: what is wrong, with what) and then
 *              TOME_EVENT_ERROR_CODE, exactly once each and last, and returns the same code. What an operation sent
 *              before its error is void. What can be refused is refused before anything changes; a failed operation
 *              leaves branches and working files as they were, unless its description says otherwise. When the disk
 *              itself fails while working files are put in place, some are new and some old, none is half-written,
 *              and the same operation completes the work.
 *   Texts      pointer and byte length, UTF-8, not terminated; a null pointer or a zero length is the empty text.
 *              The caller keeps ownership of everything it passes in.
 *   Hashes     32 raw bytes, SHA-256; all zero means "none". The hash of a file is the plain SHA-256 of its bytes.
 *   Booleans   uint32_t, zero is false.
 *   Times      milliseconds since the Unix epoch.
 *   Threads    Operations may run on any number of threads and in any number of processes at once, on the same
 *              checkout and on the same remote too; each takes the locks it needs.
 *   Remotes    A remote is a directory: "file:///absolute/path" (percent-encoding is decoded) or an absolute path. It
 *              is made on first use when its parent exists. A repository URL is the remote's URL, "/" and a name.
 *
 * Error texts that callers may rely on (each may be followed by ": " and what it is about):
 *   "Not found"                 tome_repository_clone: no such repository on the remote
 *   "Already exists"            tome_repository_create: the remote holds a repository of that name
 *   "already exists"            tome_branch_create: "branch already exists: NAME"
 *   "Nothing staged for commit" tome_revision_commit
 *   "has moved"                 tome_branch_push: "branch has moved on the remote: NAME"
 *   "the remote went back"      tome_branch_push, _create, _archive: the remote lost what was seen on it
 */
#ifndef TOME_TOME_H
#define TOME_TOME_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define TOME_API __attribute__((visibility("default")))
#else
#define TOME_API
#endif

/* ---- Values ---------------------------------------------------------------------------------------------------- */

typedef struct tome_string {
    const char* data; /* UTF-8, may be null */
    uint64_t length;  /* bytes */
} tome_string_t;

typedef struct tome_string_array {
    const tome_string_t* items;
    uint64_t count;
} tome_string_array_t;

typedef struct tome_hash {
    uint8_t bytes[32];
} tome_hash_t;

/* What every operation needs. `size` is sizeof(tome_globals_t) and doubles as the version of this interface: a library
 * that does not know the size refuses the call. */
typedef struct tome_globals {
    uint64_t size;
    tome_string_t checkout;   /* absolute path of the checkout's directory */
    tome_string_t remote_url; /* the remote, for operations that make a repository, a clone or a store; may be empty */
    uint32_t offline;         /* do not reach for the remote: what it alone knows is not found */
    uint32_t no_remote;       /* there is no remote: a new repository keeps its branches in the checkout */
    uint32_t use_remote;      /* the remote is to be asked, whatever `offline` says */
    uint32_t non_interactive; /* never ask the person at the terminal; this library never does */
    uint32_t force;           /* tome_branch_push: move the branch even where that drops revisions; this library
                                 takes the flag, but never drops a published revision */
    uint32_t reserved;        /* zero */
    /* The folder whose files a detached checkout is about, absolute. A checkout is detached when it was cloned with
     * this set: it keeps its state alone in `checkout`, and every call on it names the folder. Empty for every other.
     */
    tome_string_t working_folder;
    uint32_t reserved_end[2]; /* zero */
} tome_globals_t;

/* ---- Events ---------------------------------------------------------------------------------------------------- */

typedef enum tome_event_kind {
    TOME_EVENT_ERROR_TEXT = 1,      /* text */
    TOME_EVENT_ERROR_CODE = 2,      /* code */
    TOME_EVENT_METADATA = 3,        /* metadata: one key of a branch's metadata */
    TOME_EVENT_BRANCH_HEAD = 11,    /* identity: a branch's head after create, switch, push, clone; number = order */
    TOME_EVENT_BRANCH = 15,         /* branch: one branch of a listing */
    TOME_EVENT_BRANCH_DIFF = 22,    /* change: one path that differs between two branches */
    TOME_EVENT_MERGE_CHANGE = 25,   /* change: one path that a merge brings into the branch */
    TOME_EVENT_MERGE_CONFLICT = 29, /* path: changed differently on both sides */
    TOME_EVENT_REVISION_DIFF = 34,  /* change: one path that differs between two revisions */
    TOME_EVENT_FILE_INFO = 80,      /* file: its identity now; number = size in bytes */
    TOME_EVENT_FILE_STATE = 81,     /* file_state: one path at which working file, base and newest head are not all the
                                       same */
    TOME_EVENT_SYNCED = 106,        /* identity: the revision that was synced to; number = order */
    TOME_EVENT_SYNCED_PATH = 107,   /* path: written, replaced or removed in the working tree */
    TOME_EVENT_MERGED_PATH = 108,   /* path: a working file that got the changes of both sides */
    TOME_EVENT_FILE_STAGED = 150, /* file: staged content; a staged deletion has present = 0; number = size in bytes */
    TOME_EVENT_STATUS = 151,      /* status */
    TOME_EVENT_STATUS_PATH = 152, /* path: differs from the base revision, or is staged */
    TOME_EVENT_COMMITTED = 159,   /* identity: the new revision; number = order */
    TOME_EVENT_REVISION_INFO = 160,  /* identity: the revision; number = order */
    TOME_EVENT_REVISION_FILE = 161,  /* path: changed by the revision against its first parent */
    TOME_EVENT_RESTORED_PATH = 162,  /* path: differs between the restored revision and the head before */
    TOME_EVENT_REVISION = 165,       /* revision: one revision of a history */
    TOME_EVENT_REVISION_PATH = 167,  /* path: differs between two revisions; accompanies TOME_EVENT_REVISION_DIFF */
    TOME_EVENT_RESTORED = 172,       /* identity: the new revision that a restore made; number = order */
    TOME_EVENT_BASE_REVISION = 179,  /* identity: base of the checkout when staging, or head after a merge */
    TOME_EVENT_STORAGE_OPENED = 191, /* handle */
    TOME_EVENT_STORAGE_ITEM = 192,   /* item: what became of a blob that was put */
    TOME_EVENT_STORAGE_SIZE = 193,   /* size: bytes of the blob that is being delivered */
    TOME_EVENT_STORAGE_CHUNK = 194,  /* chunk: a part of it; chunks come in any order */
    TOME_EVENT_STORAGE_FAILED = 195  /* code: why a blob was not stored */
} tome_event_kind_t;

typedef enum tome_value_type { TOME_VALUE_BOOLEAN = 1, TOME_VALUE_INTEGER = 5, TOME_VALUE_TEXT = 6 } tome_value_type_t;

typedef enum tome_change {
    TOME_CHANGE_ADD = 1,
    TOME_CHANGE_DELETE = 2,
    TOME_CHANGE_MOVE = 3, /* `previous_path` is gone, its content now stands at `path` */
    TOME_CHANGE_COPY = 4, /* the content of `previous_path` now stands at `path` too */
    TOME_CHANGE_MODIFY = 5
} tome_change_t;

typedef struct tome_metadata_event {
    tome_string_t key;
    int32_t type;     /* tome_value_type_t */
    uint32_t boolean; /* TOME_VALUE_BOOLEAN */
    int64_t integer;  /* TOME_VALUE_INTEGER */
    tome_string_t text;
} tome_metadata_event_t;

typedef struct tome_identity_event {
    tome_hash_t hash;
    uint64_t number;
} tome_identity_event_t;

typedef struct tome_branch_event {
    tome_string_t name;
    tome_string_t kind;   /* as given on creation, may be empty */
    tome_string_t author; /* may be empty */
    tome_hash_t head;     /* zero for a branch without a revision */
    uint64_t updated_at;
    uint32_t archived;
} tome_branch_event_t;

typedef struct tome_change_event {
    tome_string_t path;
    tome_string_t previous_path; /* moves and copies only */
    int32_t status;              /* tome_change_t */
} tome_change_event_t;

typedef struct tome_file_event {
    tome_string_t path; /* relative to the checkout */
    tome_hash_t hash;
    uint64_t number;
    uint32_t present;
} tome_file_event_t;

/* A version of a file. A hash of zero with `present` is that of a working file that was not read, because its size
 * alone tells that it is none of the other two versions. */
typedef struct tome_file_version {
    tome_hash_t hash;
    uint64_t size;
    uint32_t present;
    uint32_t executable;
} tome_file_version_t;

typedef struct tome_file_state_event {
    tome_string_t path;
    tome_file_version_t base;  /* what the working file stands on */
    tome_file_version_t here;  /* the working file */
    tome_file_version_t there; /* the newest head of the branch */
    uint32_t is_other_kind;    /* a link, pipe or the like stands in the file's place; `here` is absent then */
} tome_file_state_event_t;

typedef struct tome_status_event {
    tome_hash_t local_head;  /* base revision of the checkout */
    tome_hash_t remote_head; /* head of the same branch on the remote */
    uint64_t local_order;    /* order of the base revision, 0 without one */
    uint64_t remote_order;
} tome_status_event_t;

typedef struct tome_revision_event {
    tome_hash_t hash;
    tome_hash_t first_parent;  /* zero for a first revision */
    tome_hash_t second_parent; /* zero unless the revision is a merge */
    uint64_t order;            /* 1 for a first revision, else 1 + the largest order of its parents */
    uint64_t created_at;
    tome_string_t message;
} tome_revision_event_t;

typedef struct tome_storage_item_event {
    tome_hash_t digest;
    uint8_t context[16];
    uint32_t failed; /* 0: the blob is stored */
} tome_storage_item_event_t;

typedef struct tome_storage_chunk_event {
    uint64_t offset;
    uint64_t length;
    const void* data;
} tome_storage_chunk_event_t;

typedef struct tome_event {
    int32_t kind; /* tome_event_kind_t; says which member is set, see there */
    union {
        tome_string_t text;
        int32_t code;
        tome_string_t path; /* relative to the checkout, "/" between components */
        tome_metadata_event_t metadata;
        tome_identity_event_t identity;
        tome_branch_event_t branch;
        tome_change_event_t change;
        tome_file_event_t file;
        tome_file_state_event_t file_state;
        tome_status_event_t status;
        tome_revision_event_t revision;
        uint64_t handle;
        uint64_t size;
        tome_storage_item_event_t item;
        tome_storage_chunk_event_t chunk;
    } as;
} tome_event_t;

typedef void (*tome_callback_t)(const tome_event_t* event, uint64_t user);

/* ---- Repository ------------------------------------------------------------------------------------------------ */

/* Makes the repository and turns globals.checkout (an existing directory) into a checkout of its branch "main", which
 * has no revision yet. With a `name` that is a repository URL the repository is made on that remote, which fails with
 * "Already exists: URL" when it is there; with a plain name, or globals.no_remote, it lives in the checkout alone.
 * Fails when the directory is a checkout already. What was remembered of another repository of that URL is forgotten.
 * No events. */
typedef struct tome_repository_create_params {
    tome_string_t name; /* repository URL, or a plain name */
    tome_string_t description;
    tome_string_t branch_memory; /* as for tome_repository_clone; empty: a file of the checkout's own */
} tome_repository_create_params_t;
TOME_API int32_t tome_repository_create(const tome_globals_t* globals, const tome_repository_create_params_t* params,
                                        uint64_t user, tome_callback_t callback);

/* Reports the checkout's state: TOME_EVENT_STATUS, then, with `report_changes`, one TOME_EVENT_STATUS_PATH for each
 * path whose working file differs from the base revision, in byte order. A path that the checkout does not hold is
 * unchanged, not deleted. Nested checkouts and everything below `skip_paths` are passed over. */
typedef struct tome_repository_status_params {
    uint32_t report_changes;
    tome_string_array_t skip_paths; /* directories, relative to the checkout */
} tome_repository_status_params_t;
TOME_API int32_t tome_repository_status(const tome_globals_t* globals, const tome_repository_status_params_t* params,
                                        uint64_t user, tome_callback_t callback);

/* Turns globals.checkout (made when missing) into a checkout of `branch` and brings `paths` into it. Without paths it
 * brings the whole tree, or no file when `sparse` or `metadata_only` is set; the cost of that is the same whatever the
 * size of the project. Fails with "Not found: URL" when the remote holds
 * no such repository. Of two processes that clone into one directory one wins; the other finds the finished clone and
 * succeeds, too. Events: TOME_EVENT_SYNCED_PATH for each file written, TOME_EVENT_BRANCH_HEAD. */
typedef struct tome_repository_clone_params {
    tome_string_t repository_url;
    tome_string_t branch;
    uint32_t metadata_only;    /* the checkout serves queries; it will hold no file */
    uint32_t use_shared_store; /* keep new objects in `shared_store` */
    tome_string_t shared_store;
    tome_string_array_t paths; /* files or directories */
    uint32_t sparse;           /* hold nothing but `paths`, also when there are none */
    /* Absolute path of a file called ".branch-memory", which checkouts may share and which is made when missing; empty:
     * none. The highest state of each branch that was seen on the remote is noted there. Where the remote is behind it,
     * it went back: to an older backup, or by damage. What reads goes on with what is there. What writes a branch gives
     * the remote back what it lacks when all of that is here, and fails with "the remote went back: ..." otherwise. */
    tome_string_t branch_memory;
} tome_repository_clone_params_t;
TOME_API int32_t tome_repository_clone(const tome_globals_t* globals, const tome_repository_clone_params_t* params,
                                       uint64_t user, tome_callback_t callback);

/* Accepts the branches of `repository_url` as the remote has them: forgets what `branch_memory` holds of them, and
 * changes nothing else. With an empty `branch_memory`, what globals.checkout remembers of its remote. No events. */
typedef struct tome_repository_accept_remote_params {
    tome_string_t repository_url;
    tome_string_t branch_memory;
} tome_repository_accept_remote_params_t;
TOME_API int32_t tome_repository_accept_remote(const tome_globals_t* globals,
                                               const tome_repository_accept_remote_params_t* params, uint64_t user,
                                               tome_callback_t callback);

/* ---- Branches -------------------------------------------------------------------------------------------------- */

/* Makes branch `name` on the remote at once, at the head of `from` and with its metadata, in constant time. Fails with
 * "branch already exists: NAME". The checkout stays on its branch. Event: TOME_EVENT_BRANCH_HEAD. */
typedef struct tome_branch_create_params {
    tome_string_t name;
    tome_string_t from;
    tome_string_t kind;
    tome_string_t author;
} tome_branch_create_params_t;
TOME_API int32_t tome_branch_create(const tome_globals_t* globals, const tome_branch_create_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Makes the newest head of `name` the checkout's base and brings the files that the checkout holds to it. A working
 * file with bytes that exist nowhere else is kept as an uncommitted change where the two heads agree about its path;
 * otherwise the call fails, names the path and has changed nothing. A commit that was never pushed and that the remote
 * has overtaken counts as uncommitted change. Events: TOME_EVENT_SYNCED_PATH, TOME_EVENT_BRANCH_HEAD. */
typedef struct tome_branch_switch_params {
    tome_string_t name;
    uint32_t fetch_newest; /* ask the remote; when clear, the head that the checkout knows */
} tome_branch_switch_params_t;
TOME_API int32_t tome_branch_switch(const tome_globals_t* globals, const tome_branch_switch_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Lists all branches, archived ones included, in byte order of their names. Events: TOME_EVENT_BRANCH. */
typedef struct tome_branch_list_params {
    uint32_t reserved;
} tome_branch_list_params_t;
TOME_API int32_t tome_branch_list(const tome_globals_t* globals, const tome_branch_list_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* Notes text values for a branch's metadata in the checkout; tome_branch_push carries them to the remote. `keys` and
 * `values` have the same length. No events. */
typedef struct tome_branch_metadata_set_params {
    tome_string_t branch;
    tome_string_array_t keys;
    tome_string_array_t values;
} tome_branch_metadata_set_params_t;
TOME_API int32_t tome_branch_metadata_set(const tome_globals_t* globals,
                                          const tome_branch_metadata_set_params_t* params, uint64_t user,
                                          tome_callback_t callback);

/* Reads a branch's metadata: the given keys, those absent left out, or all of it without keys. Values noted in this
 * checkout win. Event: TOME_EVENT_METADATA, in byte order of the keys. */
typedef struct tome_branch_metadata_get_params {
    tome_string_t branch;
    tome_string_array_t keys;
} tome_branch_metadata_get_params_t;
TOME_API int32_t tome_branch_metadata_get(const tome_globals_t* globals,
                                          const tome_branch_metadata_get_params_t* params, uint64_t user,
                                          tome_callback_t callback);

/* Publishes the checkout's head of `name` with the metadata noted for it, both or neither. The remote branch moves when
 * its head is an ancestor of the new one; else "branch has moved on the remote: NAME". What was committed stays in the
 * checkout. A branch that the remote lacks is made. What the new revisions changed and the remote has already is read
 * there, and sent again when it is damaged. With `use_remote` a checkout without a remote is refused. Event:
 * TOME_EVENT_BRANCH_HEAD. */
typedef struct tome_branch_push_params {
    tome_string_t name;
    uint32_t with_metadata; /* carry the noted metadata, too */
} tome_branch_push_params_t;
TOME_API int32_t tome_branch_push(const tome_globals_t* globals, const tome_branch_push_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* Marks a branch archived on the remote; its revisions stay. No events. */
typedef struct tome_branch_archive_params {
    tome_string_t name;
} tome_branch_archive_params_t;
TOME_API int32_t tome_branch_archive(const tome_globals_t* globals, const tome_branch_archive_params_t* params,
                                     uint64_t user, tome_callback_t callback);

/* Reports how the tree of `to` differs from the tree of `from`, in byte order of the paths; moves and copies are found
 * by identical content. Event: TOME_EVENT_BRANCH_DIFF. */
typedef struct tome_branch_diff_params {
    tome_string_t from;
    tome_string_t to;
} tome_branch_diff_params_t;
TOME_API int32_t tome_branch_diff(const tome_globals_t* globals, const tome_branch_diff_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* Merges the head of `source` into the checkout's branch, three-way from the nearest common ancestor: one new revision
 * with two parents, kept in the checkout until it is pushed. Nothing to bring: no revision, the head is reported.
 * With conflicts nothing changes and the call succeeds: one TOME_EVENT_MERGE_CONFLICT for each path, in byte order, and
 * no head. Otherwise TOME_EVENT_MERGE_CHANGE for each path brought, then TOME_EVENT_BASE_REVISION. The files that the
 * checkout holds follow, under the rules of tome_branch_switch. */
typedef struct tome_branch_merge_into_params {
    tome_string_t source;
    tome_string_t message;
} tome_branch_merge_into_params_t;
TOME_API int32_t tome_branch_merge_into(const tome_globals_t* globals, const tome_branch_merge_into_params_t* params,
                                        uint64_t user, tome_callback_t callback);

/* ---- Files ----------------------------------------------------------------------------------------------------- */

/* Stages the working files at `paths` (files, or directories with all they hold) for the next commit. A path that is
 * gone from the working tree is staged as a deletion with `stage_deletions`, also when the checkout never held it; when
 * clear it is passed over. A file named itself that has not changed is looked at on the remote, when that is within
 * reach, and sent again when it is damaged there. Events: TOME_EVENT_FILE_STAGED for each path that differs from the
 * base, then TOME_EVENT_BASE_REVISION with the base revision. */
typedef struct tome_file_stage_params {
    tome_string_array_t paths;
    uint32_t stage_deletions;
    uint32_t stage_additions; /* also paths that the base revision lacks */
} tome_file_stage_params_t;
TOME_API int32_t tome_file_stage(const tome_globals_t* globals, const tome_file_stage_params_t* params, uint64_t user,
                                 tome_callback_t callback);

/* Reports the identity of the working files at `paths`, in that order: the SHA-256 of the bytes, from the index where
 * the file is known to be unchanged, else computed. Event: TOME_EVENT_FILE_INFO; present = 0 for what is not a file. */
typedef struct tome_file_info_params {
    tome_string_array_t paths;
} tome_file_info_params_t;
TOME_API int32_t tome_file_info(const tome_globals_t* globals, const tome_file_info_params_t* params, uint64_t user,
                                tome_callback_t callback);

/* Reports how the working files, what they stand on and the newest head of the checkout's branch differ: one
 * TOME_EVENT_FILE_STATE for each path at which the three are not all the same, in byte order; then TOME_EVENT_SYNCED
 * with that head. A file that was read for it is remembered: asking again costs a walk with stat. */
typedef struct tome_file_state_params {
    tome_string_array_t paths; /* files; empty: all */
    tome_string_array_t
        skip_paths; /* directories to pass over, relative to the working folder, when all are asked for */
} tome_file_state_params_t;
TOME_API int32_t tome_file_state(const tome_globals_t* globals, const tome_file_state_params_t* params, uint64_t user,
                                 tome_callback_t callback);

/* Makes the working files at `paths` stand on `revision` and changes none of them: a file with other bytes then counts
 * as changed here, one that the revision lacks as added. Without `revision`, each file stands on the newest of the last
 * `versions` versions of its path on the branch that has its bytes, or, when none has, on what it stood on. No events.
 */
typedef struct tome_file_base_set_params {
    tome_hash_t revision;
    tome_string_array_t paths; /* files; empty, with a revision: all */
    uint32_t is_base;          /* no file stands on another revision then; `revision` becomes the checkout's base */
    uint64_t versions;
} tome_file_base_set_params_t;
TOME_API int32_t tome_file_base_set(const tome_globals_t* globals, const tome_file_base_set_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Brings the working files at `paths` up to date with `revision`, or with the newest head of the checkout's branch: an
 * untouched file follows, one that only changed here stays, a text that changed on both sides gets both changes by
 * lines and counts as changed here. All of them stand on that revision then. Where both sides changed a file otherwise,
 * nothing is done and the call succeeds: one TOME_EVENT_MERGE_CONFLICT for each such path. Otherwise
 * TOME_EVENT_SYNCED_PATH for each file written or removed, TOME_EVENT_MERGED_PATH for each with both changes, then
 * TOME_EVENT_SYNCED. */
typedef struct tome_file_update_params {
    tome_string_array_t paths; /* files; empty: all, those included that the checkout does not hold */
    tome_hash_t revision;
    uint32_t is_base;    /* no other file is behind: the revision becomes the checkout's base */
    uint32_t check_only; /* report the conflicts and do nothing; without any there are no events */
} tome_file_update_params_t;
TOME_API int32_t tome_file_update(const tome_globals_t* globals, const tome_file_update_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* ---- Revisions ------------------------------------------------------------------------------------------------- */

/* Makes a revision of the base revision's tree with the staged changes; it becomes the base. Fails with "Nothing staged
 * for commit". Event: TOME_EVENT_COMMITTED. */
typedef struct tome_revision_commit_params {
    tome_string_t message;
} tome_revision_commit_params_t;
TOME_API int32_t tome_revision_commit(const tome_globals_t* globals, const tome_revision_commit_params_t* params,
                                      uint64_t user, tome_callback_t callback);

/* Brings `paths` (files or directories; all of the tree when empty) in the working tree to a revision: the given one,
 * which leaves the base where it is, or the base after it was moved to the branch's newest head with `fetch_newest`. A
 * path that the revision lacks is removed. A working file is replaced or removed only when its bytes are those of the
 * base before or after, or of the revision; else the call fails, names it and has changed nothing. `overwrite`
 * drops that protection. Events: TOME_EVENT_SYNCED_PATH for each change, then TOME_EVENT_SYNCED. */
typedef struct tome_revision_sync_params {
    tome_string_array_t paths;
    tome_hash_t revision;
    uint32_t fetch_newest;
    uint32_t overwrite;
    uint32_t scratch; /* the working files need not survive a power cut */
} tome_revision_sync_params_t;
TOME_API int32_t tome_revision_sync(const tome_globals_t* globals, const tome_revision_sync_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Reports the newest `limit` revisions that the head of `branch` reaches, by order, largest first. Event:
 * TOME_EVENT_REVISION. */
typedef struct tome_revision_history_params {
    tome_string_t branch;
    uint64_t limit; /* 0: all */
} tome_revision_history_params_t;
TOME_API int32_t tome_revision_history(const tome_globals_t* globals, const tome_revision_history_params_t* params,
                                       uint64_t user, tome_callback_t callback);

/* Reports one revision: TOME_EVENT_REVISION_INFO, then TOME_EVENT_REVISION_FILE for each path that it changed. */
typedef struct tome_revision_info_params {
    tome_hash_t revision;
} tome_revision_info_params_t;
TOME_API int32_t tome_revision_info(const tome_globals_t* globals, const tome_revision_info_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Reports the paths in which two revisions differ, in byte order, a move with TOME_EVENT_REVISION_PATH for its old
 * path, too: TOME_EVENT_REVISION_DIFF and TOME_EVENT_REVISION_PATH for each. */
typedef struct tome_revision_diff_params {
    tome_hash_t from;
    tome_hash_t to;
} tome_revision_diff_params_t;
TOME_API int32_t tome_revision_diff(const tome_globals_t* globals, const tome_revision_diff_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Makes a new revision on top of the base whose tree is that of `revision`; it becomes the base. Working files are not
 * touched. `revision` must be reachable from the base. Events: TOME_EVENT_RESTORED_PATH, then TOME_EVENT_RESTORED. */
typedef struct tome_revision_restore_params {
    tome_hash_t revision;
    tome_string_t message;
} tome_revision_restore_params_t;
TOME_API int32_t tome_revision_restore(const tome_globals_t* globals, const tome_revision_restore_params_t* params,
                                       uint64_t user, tome_callback_t callback);

/* ---- Shared store ---------------------------------------------------------------------------------------------- */

/* Makes an object store at `path` that several checkouts of globals.remote_url may share; its parent must exist. An
 * existing store is left as it is. No events. */
typedef struct tome_shared_store_create_params {
    tome_string_t path;
} tome_shared_store_create_params_t;
TOME_API int32_t tome_shared_store_create(const tome_globals_t* globals,
                                          const tome_shared_store_create_params_t* params, uint64_t user,
                                          tome_callback_t callback);

/* ---- Storage --------------------------------------------------------------------------------------------------- */

/* Blobs that belong to no tree: kept in the repository's own store beside its history, never versioned. A blob is named
 * by a partition and a context, which are the caller's, and the SHA-256 of its bytes. */
typedef struct tome_blob_key {
    uint8_t partition[16];
    tome_hash_t digest;
    uint8_t context[16];
} tome_blob_key_t;

typedef struct tome_storage_options {
    uint32_t verify;          /* put: refuse bytes that do not hash to the digest; this engine always does */
    uint32_t wait_seconds;    /* for locks of other processes; this library waits a minute always */
    uint32_t chunk_kibibytes; /* get: largest chunk; 0: 1024 */
} tome_storage_options_t;

/* Opens the storage of the repository that globals.checkout is a checkout of. With `locator`, the URL of a repository
 * on a remote, and without globals.no_remote, flush and get reach that, too. The handle stays good until it is closed
 * and serves any number of threads, one at a time. Event: TOME_EVENT_STORAGE_OPENED. */
typedef struct tome_storage_open_params {
    tome_string_t locator;
    tome_storage_options_t options;
} tome_storage_open_params_t;
TOME_API int32_t tome_storage_open(const tome_globals_t* globals, const tome_storage_open_params_t* params,
                                   uint64_t user, tome_callback_t callback);

/* Stores a blob durably in the checkout's store; bytes there that are damaged are made good. With `local_only` a flush
 * passes it over, unless it was stored without before. A blob that is refused is no failure of the call:
 * TOME_EVENT_STORAGE_ITEM says so and TOME_EVENT_STORAGE_FAILED follows. The bytes are not copied. */
typedef struct tome_storage_put_params {
    uint64_t handle;
    tome_blob_key_t key;
    const void* data;
    uint64_t length;
    uint32_t local_only;
    tome_storage_options_t options;
} tome_storage_put_params_t;
TOME_API int32_t tome_storage_put(const tome_globals_t* globals, const tome_storage_put_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* Delivers a blob from the checkout's store, else from the remote: TOME_EVENT_STORAGE_SIZE, then
 * TOME_EVENT_STORAGE_CHUNK until all is delivered. Fails with "Not found: blob HEX". The bytes are checked against the
 * digest on the way, so what was delivered counts when the call succeeds. */
typedef struct tome_storage_get_params {
    uint64_t handle;
    tome_blob_key_t key;
    tome_storage_options_t options;
} tome_storage_get_params_t;
TOME_API int32_t tome_storage_get(const tome_globals_t* globals, const tome_storage_get_params_t* params, uint64_t user,
                                  tome_callback_t callback);

/* Brings all blobs that the remote lacks there; makes the repository when the remote has none. Does nothing without a
 * remote. No events. */
typedef struct tome_storage_flush_params {
    uint64_t handle;
} tome_storage_flush_params_t;
TOME_API int32_t tome_storage_flush(const tome_globals_t* globals, const tome_storage_flush_params_t* params,
                                    uint64_t user, tome_callback_t callback);

/* Closes a handle. What was put and not flushed stays in the checkout's store. No events. */
typedef struct tome_storage_close_params {
    uint64_t handle;
} tome_storage_close_params_t;
TOME_API int32_t tome_storage_close(const tome_globals_t* globals, const tome_storage_close_params_t* params,
                                    uint64_t user, tome_callback_t callback);

#ifdef __cplusplus
}
#endif

#endif /* TOME_TOME_H */
