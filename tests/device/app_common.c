/*
 * What a device has for libcapi-appfw-app-common, in the least of lines.
 */
#include <stdlib.h>
#include <string.h>

char *app_get_data_path(void)
{
    return strdup(getenv("DEVICE_DATA"));
}
