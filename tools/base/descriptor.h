#ifndef OXEL_TOOLS_DESCRIPTOR_H
#define OXEL_TOOLS_DESCRIPTOR_H

namespace oxel::tools {

/// A file of the kernel's, or none.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor &&other) noexcept : number_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept;
    ~Descriptor();

    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

    /// Gives it to who closes it from now on.
    int release();

  private:
    int number_;
};

} // namespace oxel::tools

#endif
