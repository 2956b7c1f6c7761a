/*
 * What a program does with an installed library; compiles as C and as C++.
 */
#include <stdio.h>
#include <vorn.h>

int main(void)
{
    static const char text[] = "from outside";
    char copy[sizeof(text)] = "";
    const int32_t created = vorn_create("notes", 512, 0);
    const int32_t written = vorn_write("notes", 0, sizeof(text), text);
    const int32_t delivered = vorn_read("notes", 0, sizeof(copy), copy);
    const int32_t removed = vorn_remove("notes");
    printf("%s %d %d %d \"%.*s\" %d\n", VORN_VERSION, created, written, delivered, (int)sizeof(copy), copy, removed);
    return 0;
}
