#include "decode/DecodeImage.h"
#include "decode/ServeDecoder.h"

int main(int count, char **arguments)
{
    return decode::ServeDecoder(count, arguments, decode::DecodeImage);
}
