#pragma once

// The address record of macOS: a length of its own, a family of one byte, a shorter path.

struct sockaddr_un {
    unsigned char sun_len;
    unsigned char sun_family;
    char sun_path[104];
};
