// Resource manager consumer tool: the engineer acts as a consumer by hand.
// Nothing is kept between operations; the engineer types the handle that
// registration printed.
#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "debugmenu_host.h"
#include "rc_api.h"
#include "ri_api.h"
#include "rm_api.h"
#include "tavrin_debugmenu.h"
#include "vconf.h"

namespace {

const char kMonitorProgram[] = "/usr/lib/resource-monitor/resource-monitor";
const char kMonitorKey[] = "memory/rsc_monitor/state";

const int kMainOption = 0x20000000;
const int kSubOption = 0x10000000;

enum class Read { Ok, None, End };

// A number that cannot be read counts as 0 and stays in the input, as
// scanf leaves it.
Read read_number(int *value)
{
    int read = 0;
    const int n = scanf("%d", &read);
    *value = n == 1 ? read : 0;
    return n == 1 ? Read::Ok : n == EOF ? Read::End : Read::None;
}

// False at the end of input, which ends a dialogue where an answer is
// needed to go on.
bool ask_number(const char *prompt, int *value)
{
    menu_print(1, "%s", prompt);
    return read_number(value) != Read::End;
}

// A codec name of at most 10 characters; empty when none could be read.
bool ask_codec(const char *prompt, std::string *codec)
{
    menu_print(1, "%s", prompt);
    char word[11] = "";
    const int n = scanf("%10s", word);
    *codec = n == 1 ? word : "";
    return n != EOF;
}

bool video_decoder_option(int *option)
{
    menu_print(1, "[VIDEO DECODER OPTION]\n");
    std::string codec;
    ri_video_category_option_request_s request{};
    if (!ask_codec("[option] codec name (MPEG1/2/4, H263/4, HEVC, VP8/9, RV, WMV, AVS, AVS+, MJPEG, JPEG, "
                   "H264_MVC, HEVC/H264/VP9/_VR360, HEVC_SHVC) : ",
                   &codec) ||
        !ask_number("[option] color_depth (8 or 10) : ", &request.color_depth) ||
        !ask_number("[option] h_size : ", &request.h_size) ||
        !ask_number("[option] v_size : ", &request.v_size) ||
        !ask_number("[option] framerate (30 or 60) : ", &request.framerate) ||
        !ask_number("[option] sampling_format (others:0, 420:1, 422:2) : ", &request.sampling_format))
        return false;
    request.codec_name = codec.c_str();
    *option = ri_get_capable_video_category_id(&request);

    // Not read, even at the end of input, it is 0: the allocation goes on.
    int main_sub = 0;
    ask_number("[option] main/sub option (don't care :0, main:1, sub:2) : ", &main_sub);
    if (main_sub == 1)
        *option |= kMainOption;
    else if (main_sub == 2)
        *option |= kSubOption;
    return true;
}

bool mjpeg_decoder_option(int *option)
{
    menu_print(1, "[MJPEG DECODER OPTION]\n");
    std::string codec;
    int h_size = 0;
    if (!ask_codec("[option] codec name : ", &codec) || !ask_number("[option] h_size : ", &h_size))
        return false;
    *option = ri_get_jpeg_category_id(codec.c_str(), h_size);
    return true;
}

bool jpeg_decoder_option(int *option)
{
    menu_print(1, "[JPEG DECODER OPTION]\n");
    std::string codec;
    int h_size = 0, w_size = 0;
    if (!ask_codec("[option] codec name : ", &codec) || !ask_number("[option] h_size : ", &h_size) ||
        !ask_number("[option] w_size : ", &w_size))
        return false;
    // The size asked last goes first.
    *option = ri_get_sub_jpeg_category_id(codec.c_str(), w_size, h_size);
    return true;
}

const char *text_or_null(const char *text)
{
    return text ? text : "(null)";
}

}  // namespace

int conflict_cb(int handle, rm_callback_type event, rm_device_request_s *request, void *user_data)
{
    (void)event;
    (void)user_data;
    rm_deallocate_resources(handle, request);
    return 0;
}

void rm_register_consumer(void)
{
    int handle = 0;
    if (rm_register(conflict_cb, nullptr, &handle, nullptr) == RM_OK)
        menu_print(1, "succeed to register consumer. registerd CID(handle) : %d\n", handle);
    else
        menu_print(1, "failed to register consumer.\n");
}

void rm_unregister_consumer(void)
{
    menu_print(1, "Input CID(handle) to unregister : ");
    int handle;
    if (read_number(&handle) != Read::Ok)
        return;
    if (rm_unregister(handle) == RM_OK)
        menu_print(1, "[CID:%d] suceed to unregister consumer.\n", handle);
    else
        menu_print(1, "[CID:%d] failed to unregister consumer.\n", handle);
}

void rm_allocate_resource(void)
{
    rm_category_request_s request{};
    rm_device_return_s devices{};

    menu_print(1, "Input CID(handle) to allocate : ");
    int handle;
    const Read got_handle = read_number(&handle);
    if (got_handle == Read::End)
        return;
    if (got_handle == Read::Ok) {
        request.request_num = 1;
        request.state[0] = RM_STATE_EXCLUSIVE;
    }

    // Not read, even at the end of input, it is category 0.
    int category;
    ask_number("Input Index of category : ", &category);
    request.category_id[0] = category;

    int option = 0;
    bool asked = true;
    switch (category) {
    case 3:
    case 20:
        asked = video_decoder_option(&option);
        break;
    case 24:
        asked = mjpeg_decoder_option(&option);
        break;
    case 15:
        asked = jpeg_decoder_option(&option);
        break;
    default:
        break;
    }
    if (!asked)
        return;
    request.category_option[0] = option;

    if (rm_allocate_resources(handle, &request, &devices) != RM_OK) {
        menu_print(1, "[CID %d] resource allocation failed\n", handle);
        return;
    }
    menu_print(1, "[CID %d] resource allocation succeed\n", handle);
    // Read through the members: the texts lie at other offsets on a 64-bit
    // build than on the TV (see rm_device_return_s).
    menu_print(1, "allocated device id: %d\n", devices.device_id[0]);
    menu_print(1, "allocated device node: %s\n", text_or_null(devices.device_node[0]));
    menu_print(1, "allocated OMX comp name : %s\n", text_or_null(devices.omx_comp_name[0]));
    // The manager's texts are ours to free.
    for (int i = 0; i < RM_REQUEST_MAX; ++i) {
        free(devices.device_node[i]);
        free(devices.omx_comp_name[i]);
    }
}

void rm_deallocate_resource(void)
{
    rm_device_request_s request{};

    int handle;
    if (!ask_number("Input CID to deallocate : ", &handle))
        return;
    request.request_num = 1;
    if (!ask_number("Input device id to deallocate : ", &request.device_id[0]))
        return;

    if (rm_deallocate_resources(handle, &request) == RM_OK)
        menu_print(1, "[CID %d] resource deallocation succeed\n", handle);
    else
        menu_print(1, "[CID %d] resource deallocation failed\n", handle);
}

void rm_enable_resource_monitor(void)
{
    GString *command = g_string_new(nullptr);
    g_string_printf(command, "%s &", kMonitorProgram);
    const int status = system(command->str);
    // Bits 8 to 15: the shell's exit code.
    menu_print(1, "enable resource monitor done (%d)\n", (status >> 8) & 0xff);
    g_string_free(command, TRUE);
}

void rm_disable_resource_monitor(void)
{
    menu_print(1, "disable resource monitor\n");
    if (vconf_set_int(kMonitorKey, 0) != 0)
        menu_print(1, "failed to set (%s)", kMonitorKey);
}

void rc_request_switch_best_quality_zone(void)
{
    int current = 0, next = 0;
    menu_print(1, "Input current zone id and next zone id {e.g 1 2} \n");
    // What is not read stays 0, even at the end of input.
    const int read = scanf("%d %d", &current, &next);
    (void)read;
    menu_print(1, "request switch best quality zone (%d > %d)\n", current, next);
    if (rc_switch_best_quality_zone(current, next) != 0)
        menu_print(1, "failed to request switch best quality zone\n");
    else
        menu_print(1, "request switch best quality zone (%d > %d) done\n", current, next);
}
