/*
 * The application's directories, from libcapi-appfw-app-common.
 */
#ifndef VORN_PLATFORM_APP_COMMON_H
#define VORN_PLATFORM_APP_COMMON_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Returns the path of the calling application's private data directory as a
 * newly allocated string that the caller frees, or NULL when there is none.
 */
char *app_get_data_path(void);

#ifdef __cplusplus
}
#endif

#endif
