/*
 * quickstart - loads the Unicode character table into a typed table, asks questions about it, reads every row
 * back and compares it with the file.
 *
 *     quickstart "server=127.0.0.1;port=5139;db=demo;user=me;password=secret" UnicodeData.txt
 *
 * It shows an application from end to end: open, run statements, send a batch, read a result column by column
 * as the types you want, read error texts, free, close. It frees everything only on success: after a failure
 * it exits at once.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include "tarnsql.h"

/* One line of the file. */
struct character {
    int32_t code_point;
    char name[128];
    char category[3];
    int32_t combining_class;
    char mirrored;     /* T or F */
    int32_t uppercase; /* -1: none */
    int has_number;
    double numeric_value;
};

struct character_table {
    struct character* rows;
    int32_t count;
};

static double seconds(void) {
    struct timeval now;
    gettimeofday(&now, NULL);
    return (double)now.tv_sec + (double)now.tv_usec / 1e6;
}

static void fail(const char* what) {
    fprintf(stderr, "quickstart: %s\n", what);
    exit(1);
}

/* Prints the error text of a handle: the code and the message apart. */
static void print_error(TRN_HANDLE* handle, const char* what) {
    char code[TRN_ERROR_CODE_SIZE] = "";
    char message[TRN_ERROR_MESSAGE_SIZE] = "";
    TRN_GetErrorInfo(handle, code, message);
    printf("%s: code %s, message: %s\n", what, code, message);
}

/* Runs a statement without rows and returns its count; a server error ends the program. */
static int32_t run(TRN_HANDLE* conn, const char* sql) {
    const int32_t status = TRN_Execute_no_query(conn, sql);
    if (status < 0) {
        print_error(conn, "statement failed");
        fail(sql);
    }
    return status;
}

/* Runs a query and returns its result, to be released with TRN_FreeRowset. */
static TRN_HANDLE query(TRN_HANDLE* conn, const char* sql) {
    TRN_HANDLE result = NULL;
    const int32_t status = TRN_ExecwithDataReader(conn, sql, &result, NULL, NULL, NULL);
    if (status < 0 || !result) {
        print_error(conn, "query failed");
        fail(sql);
    }
    return result;
}

/* ------------------------------------------------------------------------------------------- the file */

/* Takes the next field off a line of fields separated by ";". */
static char* next_field(char** line) {
    char* field = *line;
    char* end = strchr(field, ';');
    if (end) {
        *end = 0;
        *line = end + 1;
    } else {
        *line = field + strlen(field);
    }
    return field;
}

static double parse_numeric(const char* text) {
    const char* slash = strchr(text, '/');
    return slash ? atof(text) / atof(slash + 1) : atof(text);
}

static void parse_line(char* line, struct character* c) {
    memset(c, 0, sizeof *c);
    c->code_point = (int32_t)strtol(next_field(&line), NULL, 16);
    strncpy(c->name, next_field(&line), sizeof c->name - 1);
    strncpy(c->category, next_field(&line), sizeof c->category - 1);
    c->combining_class = atoi(next_field(&line));
    next_field(&line); /* bidirectional class */
    next_field(&line); /* decomposition */
    next_field(&line); /* decimal digit */
    next_field(&line); /* digit */
    const char* number = next_field(&line);
    c->has_number = *number != 0;
    c->numeric_value = c->has_number ? parse_numeric(number) : 0;
    c->mirrored = *next_field(&line) == 'Y' ? 'T' : 'F';
    next_field(&line); /* former name */
    next_field(&line); /* comment */
    const char* uppercase = next_field(&line);
    c->uppercase = *uppercase ? (int32_t)strtol(uppercase, NULL, 16) : -1;
}

static struct character_table read_file(const char* path) {
    struct character_table table = {NULL, 0};
    char line[1024];
    FILE* file = fopen(path, "r");
    if (!file) fail("cannot read the character table");
    while (fgets(line, sizeof line, file)) {
        if (table.count % 4096 == 0)
            table.rows = realloc(table.rows, ((size_t)table.count + 4096) * sizeof *table.rows);
        if (!table.rows) fail("out of memory");
        parse_line(line, &table.rows[table.count++]);
    }
    fclose(file);
    return table;
}

/* ---------------------------------------------------------------------------------------- the statements */

/* The values of one parameter for all rows of a batch, one after another, and the length of each. */
struct array {
    char* bytes;
    int32_t size;
    int32_t* lengths;
};

static void* allocate(size_t size) {
    void* block = malloc(size);
    if (!block) fail("out of memory");
    return block;
}

static struct array new_array(int32_t rows, size_t largest_element) {
    struct array array = {allocate((size_t)rows * largest_element), 0,
                          allocate((size_t)rows * sizeof(int32_t))};
    return array;
}

/* A number: its bytes in memory order; length 0 makes it a null. */
static void add_number(struct array* array, int32_t row, const void* number, size_t size, int present) {
    memcpy(array->bytes + array->size, number, size);
    array->size += (int32_t)size;
    array->lengths[row] = present ? (int32_t)size : 0;
}

/* A text: its length in four bytes, then its characters. */
static void add_text(struct array* array, int32_t row, const char* text) {
    const int32_t length = (int32_t)strlen(text);
    memcpy(array->bytes + array->size, &length, sizeof length);
    memcpy(array->bytes + array->size + sizeof length, text, (size_t)length);
    array->size += (int32_t)sizeof length + length;
    array->lengths[row] = length;
}

/*
 * Binds the array as parameter number position of the next batch and returns its size. The library copies it.
 */
static size_t bind_and_free(TRN_HANDLE* conn, int32_t position, int32_t type, int32_t rows,
                            struct array* array) {
    enum {
        parameters = 7
    };
    if (TRN_BindParamArrayByPos(conn, position, parameters, TRN_DIRECTION_IN, type, rows, array->bytes,
                                array->size, array->lengths) != TRN_OK)
        fail("a parameter cannot be bound");
    free(array->bytes);
    free(array->lengths);
    return (size_t)array->size;
}

/* All rows are sent in one request. */
static size_t load(TRN_HANDLE* conn, const struct character_table* table) {
    const int32_t rows = table->count;
    struct array code_point = new_array(rows, sizeof(int32_t));
    struct array name = new_array(rows, sizeof(int32_t) + sizeof table->rows->name);
    struct array category = new_array(rows, sizeof(int32_t) + sizeof table->rows->category);
    struct array combining_class = new_array(rows, sizeof(int32_t));
    struct array mirrored = new_array(rows, sizeof(int32_t) + 1);
    struct array uppercase = new_array(rows, sizeof(int32_t));
    struct array numeric_value = new_array(rows, sizeof(double));
    for (int32_t i = 0; i < rows; ++i) {
        const struct character* c = &table->rows[i];
        const char letter[2] = {c->mirrored, 0};
        add_number(&code_point, i, &c->code_point, sizeof c->code_point, 1);
        add_text(&name, i, c->name);
        add_text(&category, i, c->category);
        add_number(&combining_class, i, &c->combining_class, sizeof c->combining_class, 1);
        add_text(&mirrored, i, letter);
        add_number(&uppercase, i, &c->uppercase, sizeof c->uppercase, c->uppercase >= 0);
        add_number(&numeric_value, i, &c->numeric_value, sizeof c->numeric_value, c->has_number);
    }

    run(conn, "DROP TABLE IF EXISTS characters");
    run(conn, "CREATE TABLE characters (code_point INTEGER PRIMARY KEY, name VARCHAR(128), category CHAR(2), "
              "combining_class SMALLINT, mirrored BOOLEAN, uppercase INTEGER, numeric_value DOUBLE)");
    size_t bound = bind_and_free(conn, 1, TRN_TYPE_INTEGER, rows, &code_point);
    bound += bind_and_free(conn, 2, TRN_TYPE_TEXT, rows, &name);
    bound += bind_and_free(conn, 3, TRN_TYPE_TEXT, rows, &category);
    bound += bind_and_free(conn, 4, TRN_TYPE_INTEGER, rows, &combining_class);
    bound += bind_and_free(conn, 5, TRN_TYPE_TEXT, rows, &mirrored);
    bound += bind_and_free(conn, 6, TRN_TYPE_INTEGER, rows, &uppercase);
    bound += bind_and_free(conn, 7, TRN_TYPE_DOUBLE, rows, &numeric_value);
    if (TRN_ExecBatch(conn, "INSERT INTO characters VALUES (?, ?, ?, ?, ?, ?, ?)", rows) < 0) {
        print_error(conn, "the batch failed");
        fail("no rows were stored");
    }
    return bound;
}

static void print_count(TRN_HANDLE* conn) {
    char value[64] = "";
    uint32_t type;
    if (TRN_Execute_query_with_one(conn, "SELECT count(*) FROM characters", value, &type) < 0)
        fail("no count");
    printf("the table holds %s characters\n\n", value);
}

/* Prints any result as a table: every value as text, a null as an empty field. */
static void print_table(TRN_HANDLE* conn, const char* sql, const int* widths) {
    TRN_HANDLE result = query(conn, sql);
    int32_t columns = 0;
    TRN_getResultColumnsnum(&result, &columns);
    for (int32_t i = 1; i <= columns; ++i) {
        char name[1025] = "";
        TRN_getResultcolname(&result, i, name);
        printf("%-*s  ", widths[i - 1], name);
    }
    printf("\n");
    while (TRN_ReadNext(&result) == TRN_OK) {
        for (int32_t i = 1; i <= columns; ++i) {
            char value[256] = "";
            TRN_GetData(&result, i, TRN_TYPE_TEXT, value, sizeof value, NULL);
            printf("%-*s  ", widths[i - 1], value);
        }
        printf("\n");
    }
    printf("\n");
    TRN_FreeRowset(&result);
}

static int32_t integer_or_absent(TRN_HANDLE* result, int32_t column) {
    int32_t value = -1;
    const int32_t status = TRN_GetData(result, column, TRN_TYPE_INTEGER, &value, sizeof value, NULL);
    if (status != TRN_OK && status != TRN_NULL_VALUE) fail("a number does not convert");
    return value;
}

/* Reads the current row as the types of the structure. */
static void read_row(TRN_HANDLE* result, struct character* c) {
    memset(c, 0, sizeof *c);
    c->code_point = integer_or_absent(result, 1);
    TRN_GetData(result, 2, TRN_TYPE_TEXT, c->name, sizeof c->name, NULL);
    TRN_GetData(result, 3, TRN_TYPE_TEXT, c->category, sizeof c->category, NULL);
    c->combining_class = integer_or_absent(result, 4);
    TRN_GetData(result, 5, TRN_TYPE_BYTE, &c->mirrored, sizeof c->mirrored, NULL);
    c->uppercase = integer_or_absent(result, 6);
    c->has_number =
        TRN_GetData(result, 7, TRN_TYPE_DOUBLE, &c->numeric_value, sizeof c->numeric_value, NULL) == TRN_OK;
}

static int same(const struct character* a, const struct character* b) {
    return a->code_point == b->code_point && strcmp(a->name, b->name) == 0 &&
           strcmp(a->category, b->category) == 0 && a->combining_class == b->combining_class &&
           a->mirrored == b->mirrored && a->uppercase == b->uppercase && a->numeric_value == b->numeric_value;
}

/* Compares every row, in the order of the file. */
static void compare(TRN_HANDLE* conn, const struct character_table* table) {
    TRN_HANDLE result = query(conn, "SELECT * FROM characters ORDER BY code_point");
    int32_t row = 0;
    for (; TRN_ReadNext(&result) == TRN_OK; ++row) {
        struct character c;
        read_row(&result, &c);
        if (row >= table->count || !same(&c, &table->rows[row])) {
            fprintf(stderr, "quickstart: row %d differs from the file\n", (int)row + 1);
            exit(1);
        }
    }
    if (row != table->count) fail("rows are missing");
    TRN_FreeRowset(&result);
    printf("every row read back equals its line of the file\n");
}

int main(int argc, char** argv) {
    static const int category_widths[] = {8, 10};
    static const int number_widths[] = {10, 44, 8, 18};
    if (argc != 3) fail("usage: quickstart CONNECTION-STRING UNICODEDATA-FILE");

    TRN_HANDLE conn = NULL;
    if (TRN_OpenConn(argv[1], &conn) != TRN_OPENED) {
        print_error(&conn, "cannot open the connection");
        TRN_CloseConn(&conn);
        return 1;
    }
    struct character_table table = read_file(argv[2]);

    const double load_start = seconds();
    const size_t bytes_bound = load(&conn, &table);
    const double load_end = seconds();

    print_count(&conn);
    print_table(&conn,
                "SELECT category, count(*) AS characters FROM characters GROUP BY category "
                "ORDER BY characters DESC LIMIT 5",
                category_widths);
    print_table(&conn,
                "SELECT code_point, name, category, numeric_value FROM characters "
                "WHERE numeric_value >= 100000 ORDER BY numeric_value DESC, code_point LIMIT 8",
                number_widths);

    const double read_start = seconds();
    compare(&conn, &table);
    const double read_end = seconds();

    printf("\na statement that the server refuses:\n");
    if (TRN_Execute_no_query(&conn, "SELECT * FROM no_such_table") >= 0) fail("the server took it");
    print_error(&conn, "as the application sees it");

    printf("\n%d rows and %.1f MB of values sent in %.2f s (%.0f rows/s), read back in %.3f s (%.0f "
           "rows/s)\n",
           (int)table.count, (double)bytes_bound / 1e6, load_end - load_start,
           table.count / (load_end - load_start), read_end - read_start,
           table.count / (read_end - read_start));
    free(table.rows);
    TRN_CloseConn(&conn);
    return 0;
}
