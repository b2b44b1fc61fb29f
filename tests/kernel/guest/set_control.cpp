// Sets an adjustment of a video device by its name. Usage: set_control DEVICE NAME VALUE
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s DEVICE NAME VALUE\n", argv[0]);
        return 2;
    }
    const int device = open(argv[1], O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (device < 0) {
        std::fprintf(stderr, "set_control: %s: %s\n", argv[1], std::strerror(errno));
        return EXIT_FAILURE;
    }
    v4l2_queryctrl query{};
    query.id = V4L2_CTRL_FLAG_NEXT_CTRL;
    while (ioctl(device, VIDIOC_QUERYCTRL, &query) == 0) {
        if (std::strcmp(reinterpret_cast<const char*>(query.name), argv[2]) == 0) {
            v4l2_control control{query.id, std::atoi(argv[3])};
            if (ioctl(device, VIDIOC_S_CTRL, &control) == 0) return EXIT_SUCCESS;
            std::fprintf(stderr, "set_control: %s: %s\n", argv[2], std::strerror(errno));
            return EXIT_FAILURE;
        }
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
    }
    std::fprintf(stderr, "set_control: %s has no \"%s\"\n", argv[1], argv[2]);
    return EXIT_FAILURE;
}
