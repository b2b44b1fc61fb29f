// Sets an adjustment of a video device by its name. Usage: set_control DEVICE NAME VALUE
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
    const int device = argc == 4 ? open(argv[1], O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    v4l2_queryctrl query{};
    do {
        query.id |= V4L2_CTRL_FLAG_NEXT_CTRL;
        if (ioctl(device, VIDIOC_QUERYCTRL, &query) != 0) {
            std::perror("set_control: no such adjustment");
            return EXIT_FAILURE;
        }
    } while (std::strcmp(reinterpret_cast<const char*>(query.name), argv[2]) != 0);
    v4l2_control control{query.id, std::atoi(argv[3])};
    if (ioctl(device, VIDIOC_S_CTRL, &control) == 0) return EXIT_SUCCESS;
    std::perror("set_control");
    return EXIT_FAILURE;
}
