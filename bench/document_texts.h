// Documents for the benchmarks of the readers: made up, but of the shape that real ones have.
#pragma once

#include <stdio.h>

#include <string>

namespace document_texts {

// Fills `head`, as many records as it takes to reach `size` bytes, and `tail`.
template <class Record>
std::string of_records(const char* head, const char* tail, size_t size, Record record) {
  std::string text = head;
  for (unsigned n = 0; text.size() < size; n++) {
    char line[2048];
    text.append(line, static_cast<size_t>(record(line, sizeof(line), n)));
  }
  return text + tail;
}

// An indented property list of `size` bytes or a little more: records of strings, numbers, truth
// values, an array and some bytes.
inline std::string property_list(size_t size) {
  return of_records(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n<array>\n",
      "</array>\n</plist>\n", size, [](char* line, size_t room, unsigned n) {
        return snprintf(
            line, room,
            "\t<dict>\n"
            "\t\t<key>PackageName</key>\n\t\t<string>Package number %u of the catalogue</string>\n"
            "\t\t<key>PackageVersion</key>\n\t\t<string>%u.%u.%u</string>\n"
            "\t\t<key>InstalledSize</key>\n\t\t<integer>%u</integer>\n"
            "\t\t<key>Share</key>\n\t\t<real>0.%03u</real>\n"
            "\t\t<key>RestartRequired</key>\n\t\t<%s/>\n"
            "\t\t<key>Products</key>\n\t\t<array>\n\t\t\t<string>com.example.base.%u</string>\n"
            "\t\t\t<string>com.example.tools.%u</string>\n\t\t</array>\n"
            "\t\t<key>Digest</key>\n\t\t<data>\n\t\tLPJNul+wow4m6DsqxbninhsWHlwfp0JecwQzYpOLmCQ=\n"
            "\t\t</data>\n"
            "\t\t<key>URL</key>\n"
            "\t\t<string>https://updates.example.com/packages/%u/setup-%u.msi</string>\n"
            "\t</dict>\n",
            n, n % 20, n % 7, n % 100, n * 7919u % 100000000u, n % 1000, n % 3 ? "false" : "true",
            n, n, n % 977, n);
      });
}

// A settings document: one dictionary of short keys and values, 30,000 bytes.
inline std::string settings() {
  return of_records(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n",
      "</dict>\n</plist>\n", 30000, [](char* line, size_t room, unsigned n) {
        return snprintf(
            line, room,
            "\t<key>url%u</key>\n\t<string>https://updates.example.com/%u.msi</string>\n"
            "\t<key>size%u</key>\n\t<integer>%u</integer>\n"
            "\t<key>silent%u</key>\n\t<%s/>\n",
            n, n, n, n * 7919u % 100000000u, n, n % 3 ? "false" : "true");
      });
}

inline std::string xml_rpc(size_t size) {
  return of_records(
      "<?xml version=\"1.0\"?>\n<methodResponse>\n<params>\n", "</params>\n</methodResponse>\n",
      size, [](char* line, size_t room, unsigned n) {
        return snprintf(
            line, room,
            " <param>\n  <value>\n   <struct>\n"
            "    <member><name>name</name><value><string>Package %u</string></value></member>\n"
            "    <member><name>size</name><value><int>%u</int></value></member>\n"
            "    <member><name>share</name><value><double>0.%03u</double></value></member>\n"
            "    <member><name>products</name><value><array><data>\n"
            "     <value>com.example.base.%u</value>\n     <value>com.example.tools.%u</value>\n"
            "    </data></array></value></member>\n   </struct>\n  </value>\n </param>\n",
            n, n * 7919u % 100000000u, n % 1000, n, n);
      });
}

inline std::string soap(size_t size) {
  return of_records(
      "<?xml version=\"1.0\"?>\n"
      "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">\n<soap:Body>\n"
      "<m:Packages xmlns:m=\"urn:example\">\n",
      "</m:Packages>\n</soap:Body>\n</soap:Envelope>\n", size,
      [](char* line, size_t room, unsigned n) {
        return snprintf(line, room,
                        " <m:Package kind=\"msi\" index=\"%u\">\n  <m:Name>Package %u</m:Name>\n"
                        "  <m:Size>%u</m:Size>\n  <m:Version>%u.%u</m:Version>\n"
                        "  <m:Url>https://updates.example.com/packages/%u/setup.msi</m:Url>\n"
                        "  <m:Product>com.example.base.%u</m:Product>\n"
                        "  <m:Product>com.example.tools.%u</m:Product>\n </m:Package>\n",
                        n, n, n * 7919u % 100000000u, n % 20, n % 7, n, n, n);
      });
}

inline std::string list_xml(size_t size) {
  return of_records("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<list>", "\n</list>\n", size,
                    [](char* line, size_t room, unsigned n) {
                      return snprintf(
                          line, room,
                          "<item ident=\"%u\">\n"
                          "\t\t<field label=\"name\" type=\"text\">Package %u</field>\n"
                          "\t\t<field label=\"size\" type=\"long\">%u</field>\n"
                          "\t\t<field label=\"share\" type=\"real\">0.%03u</field>\n"
                          "\t\t<field label=\"silent\" type=\"%s\" />\n"
                          "\t\t<field label=\"source\" type=\"text\">"
                          "https://updates.example.com/packages/%u/setup.msi</field>\n\t</item>",
                          n, n, n * 7919u % 100000000u, n % 1000, n % 3 ? "false" : "true", n);
                    });
}

}  // namespace document_texts
