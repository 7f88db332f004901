// Resource information stand-in: every stream gets the category option set
// in [rm].
#include "ri_api.h"
#include "tvemul.h"

namespace {

const char kTag[] = "TV_RSC_INFO";

int category_option(const char *key, long long def)
{
    tvemul::KeyFile kf = tvemul::load_state();
    return static_cast<int>(tvemul::get_int(kf.get(), "rm", key, def));
}

}  // namespace

extern "C" {

int ri_get_capable_video_category_id(ri_video_category_option_request_s *option)
{
    TVEMUL_ENTER(option ? tvemul::Args(option->codec_name, option->color_depth, option->h_size, option->v_size,
                                       option->framerate, option->sampling_format)
                        : tvemul::Args(option));
    if (!option)
        return -1;
    const int category = category_option("video_category_option", 1);
    tvemul::log(kTag, "video %s %dx%d %d bit %d fps -> category option %d",
                option->codec_name ? option->codec_name : "(none)", option->h_size, option->v_size,
                option->color_depth, option->framerate, category);
    return category;
}

int ri_get_jpeg_category_id(const char *codec_name, int h_size)
{
    TVEMUL_ENTER(codec_name, h_size);
    const int category = category_option("jpeg_category_option", 2);
    tvemul::log(kTag, "jpeg %s %d -> category option %d", codec_name ? codec_name : "(none)", h_size, category);
    return category;
}

int ri_get_sub_jpeg_category_id(const char *codec_name, int w_size, int h_size)
{
    TVEMUL_ENTER(codec_name, w_size, h_size);
    const int category = category_option("sub_jpeg_category_option", 3);
    tvemul::log(kTag, "sub jpeg %s %dx%d -> category option %d", codec_name ? codec_name : "(none)", w_size,
                h_size, category);
    return category;
}

}  // extern "C"
