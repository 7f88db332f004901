// vconf, the platform's configuration key service.
#ifndef VCONF_H
#define VCONF_H

#ifdef __cplusplus
extern "C" {
#endif

enum vconf_t {
    VCONF_TYPE_NONE = 0,
    VCONF_TYPE_STRING = 40,
    VCONF_TYPE_INT = 41,
    VCONF_TYPE_DOUBLE = 42,
    VCONF_TYPE_BOOL = 43,
    VCONF_TYPE_DIR = 44,
};

typedef enum {
    VCONF_GET_KEY = 0,
    VCONF_GET_ALL,
    VCONF_GET_DIR,
} get_option_t;

typedef struct _keylist_t keylist_t;
typedef struct _keynode_t keynode_t;

int vconf_set_int(const char *in_key, const int intval);
int vconf_set_bool(const char *in_key, const int boolval);
int vconf_set_dbl(const char *in_key, const double dblval);
int vconf_set_str(const char *in_key, const char *strval);

int vconf_get_int(const char *in_key, int *intval);
int vconf_get_bool(const char *in_key, int *boolval);
int vconf_get_dbl(const char *in_key, double *dblval);
// A copy that the caller frees, or null.
char *vconf_get_str(const char *in_key);

keylist_t *vconf_keylist_new(void);
int vconf_keylist_free(keylist_t *keylist);
int vconf_keylist_rewindnode(keylist_t *keylist);
keynode_t *vconf_keylist_nextnode(keylist_t *keylist);
int vconf_get(keylist_t *keylist, const char *in_parentDIR, get_option_t option);

char *vconf_keynode_get_name(keynode_t *keynode);
int vconf_keynode_get_type(keynode_t *keynode);
int vconf_keynode_get_int(const keynode_t *keynode);
int vconf_keynode_get_bool(const keynode_t *keynode);
double vconf_keynode_get_dbl(const keynode_t *keynode);
char *vconf_keynode_get_str(const keynode_t *keynode);

#ifdef __cplusplus
}
#endif

#endif
