// Resource information: which decoder category suits a stream.
#ifndef RI_API_H
#define RI_API_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
    const char *codec_name;
    int color_depth;      // 8 or 10 bits
    int h_size;
    int v_size;
    int framerate;
    int sampling_format;  // others 0, 4:2:0 1, 4:2:2 2
} ri_video_category_option_request_s;

// Each returns the category option to ask the resource manager for.
int ri_get_capable_video_category_id(ri_video_category_option_request_s *option);
int ri_get_jpeg_category_id(const char *codec_name, int h_size);
int ri_get_sub_jpeg_category_id(const char *codec_name, int w_size, int h_size);

#ifdef __cplusplus
}
#endif

#endif
