/* tome.h must stand alone in plain C: this file includes nothing else, calls every operation once
 * and holds the numbers that programs built with it rely on. */
#include <tome/tome.h>

/* Programs are built with these numbers in them. */
#define FIXED(name, number) _Static_assert((name) == (number), "programs are built with another " #name)
FIXED(TOME_EVENT_ERROR_TEXT, 1);
FIXED(TOME_EVENT_ERROR_CODE, 2);
FIXED(TOME_EVENT_METADATA, 3);
FIXED(TOME_EVENT_BRANCH_HEAD, 11);
FIXED(TOME_EVENT_BRANCH, 15);
FIXED(TOME_EVENT_BRANCH_DIFF, 22);
FIXED(TOME_EVENT_MERGE_CHANGE, 25);
FIXED(TOME_EVENT_MERGE_CONFLICT, 29);
FIXED(TOME_EVENT_REVISION_DIFF, 34);
FIXED(TOME_EVENT_FILE_INFO, 80);
FIXED(TOME_EVENT_SYNCED, 106);
FIXED(TOME_EVENT_SYNCED_PATH, 107);
FIXED(TOME_EVENT_FILE_STAGED, 150);
FIXED(TOME_EVENT_STATUS, 151);
FIXED(TOME_EVENT_STATUS_PATH, 152);
FIXED(TOME_EVENT_COMMITTED, 159);
FIXED(TOME_EVENT_REVISION_INFO, 160);
FIXED(TOME_EVENT_REVISION_FILE, 161);
FIXED(TOME_EVENT_RESTORED_PATH, 162);
FIXED(TOME_EVENT_REVISION, 165);
FIXED(TOME_EVENT_REVISION_PATH, 167);
FIXED(TOME_EVENT_RESTORED, 172);
FIXED(TOME_EVENT_BASE_REVISION, 179);
FIXED(TOME_EVENT_STORAGE_OPENED, 191);
FIXED(TOME_EVENT_STORAGE_ITEM, 192);
FIXED(TOME_EVENT_STORAGE_SIZE, 193);
FIXED(TOME_EVENT_STORAGE_CHUNK, 194);
FIXED(TOME_EVENT_STORAGE_FAILED, 195);
FIXED(TOME_VALUE_BOOLEAN, 1);
FIXED(TOME_VALUE_INTEGER, 5);
FIXED(TOME_VALUE_TEXT, 6);
FIXED(TOME_CHANGE_ADD, 1);
FIXED(TOME_CHANGE_DELETE, 2);
FIXED(TOME_CHANGE_MOVE, 3);
FIXED(TOME_CHANGE_COPY, 4);
FIXED(TOME_CHANGE_MODIFY, 5);

/* They say which version of the interface a program was built with. */
_Static_assert(sizeof(void*) != 8 || sizeof(tome_globals_t) == 88, "programs are built with globals of another size");

int32_t use_every_operation(const tome_globals_t* globals, tome_callback_t callback);

int32_t use_every_operation(const tome_globals_t* globals, tome_callback_t callback) {
    const tome_repository_create_params_t create = {0};
    const tome_repository_status_params_t status = {0};
    const tome_repository_clone_params_t clone = {0};
    const tome_branch_create_params_t branch_create = {0};
    const tome_branch_switch_params_t branch_switch = {0};
    const tome_branch_list_params_t list = {0};
    const tome_branch_metadata_set_params_t set = {0};
    const tome_branch_metadata_get_params_t get = {0};
    const tome_branch_push_params_t push = {0};
    const tome_branch_archive_params_t archive = {0};
    const tome_branch_diff_params_t branch_diff = {0};
    const tome_branch_merge_into_params_t merge = {0};
    const tome_file_stage_params_t stage = {0};
    const tome_file_info_params_t info = {0};
    const tome_file_state_params_t file_state = {0};
    const tome_file_base_set_params_t base_set = {0};
    const tome_file_update_params_t update = {0};
    const tome_revision_commit_params_t commit = {0};
    const tome_revision_sync_params_t sync = {0};
    const tome_revision_history_params_t history = {0};
    const tome_revision_info_params_t revision_info = {0};
    const tome_revision_diff_params_t revision_diff = {0};
    const tome_revision_restore_params_t restore = {0};
    const tome_repository_accept_remote_params_t accept = {0};
    const tome_shared_store_create_params_t store = {0};
    const tome_storage_open_params_t open = {0};
    const tome_storage_put_params_t put = {0};
    const tome_storage_get_params_t get_blob = {0};
    const tome_storage_flush_params_t flush = {0};
    const tome_storage_close_params_t close = {0};

    return tome_repository_create(globals, &create, 0, callback) |
           tome_repository_status(globals, &status, 0, callback) | tome_repository_clone(globals, &clone, 0, callback) |
           tome_repository_accept_remote(globals, &accept, 0, callback) |
           tome_branch_create(globals, &branch_create, 0, callback) |
           tome_branch_switch(globals, &branch_switch, 0, callback) | tome_branch_list(globals, &list, 0, callback) |
           tome_branch_metadata_set(globals, &set, 0, callback) | tome_branch_metadata_get(globals, &get, 0, callback) |
           tome_branch_push(globals, &push, 0, callback) | tome_branch_archive(globals, &archive, 0, callback) |
           tome_branch_diff(globals, &branch_diff, 0, callback) | tome_branch_merge_into(globals, &merge, 0, callback) |
           tome_file_stage(globals, &stage, 0, callback) | tome_file_info(globals, &info, 0, callback) |
           tome_file_state(globals, &file_state, 0, callback) | tome_file_base_set(globals, &base_set, 0, callback) |
           tome_file_update(globals, &update, 0, callback) | tome_revision_commit(globals, &commit, 0, callback) |
           tome_revision_sync(globals, &sync, 0, callback) | tome_revision_history(globals, &history, 0, callback) |
           tome_revision_info(globals, &revision_info, 0, callback) |
           tome_revision_diff(globals, &revision_diff, 0, callback) |
           tome_revision_restore(globals, &restore, 0, callback) |
           tome_shared_store_create(globals, &store, 0, callback) | tome_storage_open(globals, &open, 0, callback) |
           tome_storage_put(globals, &put, 0, callback) | tome_storage_get(globals, &get_blob, 0, callback) |
           tome_storage_flush(globals, &flush, 0, callback) | tome_storage_close(globals, &close, 0, callback);
}
