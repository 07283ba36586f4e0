#include "checks_corpus.h"

namespace ChecksCorpus {

QByteArray wav(quint16 format) {
    const quint32 rate = 8000;
    const quint16 bits = format == 1 ? 16 : 8;
    const quint32 bytes = rate / 2 * (bits / 8);
    QByteArray data;
    auto u32 = [&](quint32 v) {
        for (int i = 0; i < 4; ++i)
            data += char((v >> (8 * i)) & 0xff);
    };
    auto u16 = [&](quint16 v) {
        data += char(v & 0xff);
        data += char(v >> 8);
    };
    data += "RIFF";
    u32(36 + bytes);
    data += "WAVEfmt ";
    u32(16);
    u16(format);
    u16(1);
    u32(rate);
    u32(rate * (bits / 8));
    u16(bits / 8);
    u16(bits);
    data += "data";
    u32(bytes);
    return data + QByteArray(int(bytes), format == 1 ? '\0' : '\xd5');
}

QByteArray timeline(const QStringList& videos) {
    QByteArray clips;
    for (int i = 0; i < videos.size(); ++i)
        clips += QStringLiteral(R"(%1{"track": 1, "position": %2, "length": 1000,
                 "media": {"source": "%3"}})")
                     .arg(i ? "," : "")
                     .arg(i * 1000)
                     .arg(videos[i])
                     .toUtf8();
    return R"({"tracks": ["main", "picture"], "primaryTrack": 0, "clips": [)" + clips + "]}";
}

std::vector<Broken> brokenInputs() {
    const QByteArray warm =
        TestSupport::readFile(sourceDir() + "/examples/effects/warm-afternoon.cube");
    const QByteArray video = videoBytes();
    const QByteArray plain =
        shader("void main() { gl_FragColor = texture2D(source, texCoord); }\n");
    return {
        {"a LUT with a row too few",
         {{"looks/warm.cube", "TITLE \"w\"\nLUT_3D_SIZE 2\n" + rows(7)}},
         R"([{"kind": "lut-effect", "lut": "looks/warm.cube"}])",
         "recipe.json: components[0].lut (looks/warm.cube:2): error: the table has 7 rows",
         "effects[0]",
         ".lutResource (resources/warm.cube:2): error: the table has 7 rows"},
        {"a 1D LUT of size 1",
         {{"looks/one.cube", "LUT_1D_SIZE 1\n" + rows(1)}},
         R"([{"kind": "lut-effect", "lut": "looks/one.cube"}])",
         "recipe.json: components[0].lut (looks/one.cube:1): error: LUT_1D_SIZE 1 is out of range",
         "effects[0]",
         ".lutResource (resources/one.cube:1): error: LUT_1D_SIZE 1 is out of range"},
        {"a 3D LUT too large",
         {{"looks/big.cube", "# big\nLUT_3D_SIZE 300\n" + rows(8)}},
         R"([{"kind": "lut-effect", "lut": "looks/big.cube"}])",
         "recipe.json: components[0].lut (looks/big.cube:2): error: LUT_3D_SIZE 300 is out of "
         "range",
         "effects[0]",
         ".lutResource (resources/big.cube:2): error: LUT_3D_SIZE 300 is out of range"},
        {"a LUT with a malformed DOMAIN_MAX line",
         {{"looks/domain.cube", "LUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1\n" + rows(8)}},
         R"([{"kind": "lut-effect", "lut": "looks/domain.cube"}])",
         "recipe.json: components[0].lut (looks/domain.cube:3): error: DOMAIN_MAX needs three "
         "finite numbers",
         "effects[0]",
         ".lutResource (resources/domain.cube:3): error: DOMAIN_MAX needs three finite numbers"},
        {"a PNG named .cube",
         {{"looks/fake.cube", pngBytes()}},
         R"([{"kind": "lut-effect", "lut": "looks/fake.cube"}])",
         "recipe.json: components[0].lut (looks/fake.cube): error: not a text file",
         "effects[0]",
         ".lutResource (resources/fake.cube): error: not a text file"},
        {"a shader with a syntax error",
         {{"fx/broken.frag",
           shader("void main() {\n  gl_FragColor = texture2D(source, texCoord)\n}\n")}},
         R"([{"kind": "shader-effect", "title": "Broken", "shader": "fx/broken.frag"}])",
         "recipe.json: components[0].shader (fx/broken.frag:6): error: does not compile: ",
         "effects[0] 'Broken'",
         ".shaderResource (resources/broken.frag:6): error: does not compile: "},
        {"a shader using a uniform it does not declare",
         {{"fx/strength.frag",
           shader("void main() {\n  gl_FragColor = texture2D(source, texCoord) * strength;\n}\n")}},
         R"([{"kind": "shader-effect", "title": "Strong", "shader": "fx/strength.frag"}])",
         "recipe.json: components[0].shader (fx/strength.frag:5): error: does not compile: "
         "'strength' : undeclared identifier",
         "effects[0] 'Strong'",
         ".shaderResource (resources/strength.frag:5): error: does not compile: 'strength' : "
         "undeclared identifier"},
        {"a shader transition sampling an aux image it is not given",
         {{"fx/aux.frag", shader("uniform sampler2D auxImage;\nvoid main() { gl_FragColor = "
                                 "texture2D(auxImage, texCoord); }\n")}},
         R"([{"kind": "shader-transition", "title": "Aux", "shader": "fx/aux.frag"}])",
         "recipe.json: components[0].shader (fx/aux.frag:4): error: the shader samples auxImage",
         "transitions[0] 'Aux'",
         ".shaderResource (resources/aux.frag:4): error: the shader samples auxImage"},
        {"audio given as a video import",
         {{"media/song.wav", wav()}},
         R"([{"kind": "import", "title": "Song", "path": "media/song.wav"}])",
         "recipe.json: components[0].path (media/song.wav): error: has no video stream (it holds "
         "audio)",
         "imports[0] 'Song'",
         ".location (resources/song.wav): error: has no video stream (it holds audio)"},
        {"a video given as a mask",
         {{"media/mask.mp4", video}},
         R"([{"kind": "mask-transition", "source": "media/mask.mp4"}])",
         "recipe.json: components[0].source (media/mask.mp4): error: not an image that decodes",
         "transitions[0]",
         ".resources (resources/mask.mp4): error: not an image that decodes"},
        {"an empty overlay-transition clip",
         {{"media/empty.mp4", ""}},
         R"([{"kind": "overlay-transition", "source": "media/empty.mp4"}])",
         "recipe.json: components[0].source (media/empty.mp4): error: not a media file with video",
         "transitions[0]",
         ".resources (resources/empty.mp4): error: not a media file with video"},
        {"a truncated MP4 import",
         {{"media/cut.mp4", video.left(video.size() / 3)}},
         R"([{"kind": "import", "title": "Cut", "path": "media/cut.mp4"}])",
         "recipe.json: components[0].path (media/cut.mp4): error: the file is cut off",
         "imports[0] 'Cut'",
         ".location (resources/cut.mp4): error: the file is cut off"},
        {"two logos of one name",
         {{"a/logo.png", pngBytes()}, {"b/logo.png", pngBytes() + "x"}},
         R"([{"kind": "import", "title": "A", "path": "a/logo.png", "importType": "image"},
             {"kind": "import", "title": "B", "path": "b/logo.png", "importType": "image"}])",
         "recipe.json: components[1].path (b/logo.png): error: two different files would land at "
         "resource 'logo.png': a/logo.png (components[0].path) and b/logo.png "
         "(components[1].path)",
         "imports[1] 'B'",
         ".location (resources/logo.png): error: imports[0] 'A' and imports[1] 'B' both show "
         "'resources/logo.png'"},
        {"two LUTs of one name in different folders",
         {{"warm.cube", warm}, {"fx.frag", plain}, {"old/warm.cube", "LUT_3D_SIZE 2\n" + rows(8)}},
         R"([{"kind": "lut-effect", "title": "Warm", "lut": "warm.cube"},
             {"kind": "shader-effect", "title": "Plain", "shader": "fx.frag"},
             {"kind": "lut-effect", "title": "Old", "lut": "old/warm.cube"}])",
         "recipe.json: components[2].lut (old/warm.cube): error: two different files would land "
         "at resource 'warm.cube': warm.cube (components[0].lut)",
         "effects[",
         ".lutResource (resources/warm.cube): error: effects["},
        {"two clips whose stills share a name",
         {{"media/spot.mp4", video},
          {"media/spot.mov", video + "x"},
          {"media/title.json", timeline({"spot.mp4", "spot.mov"})}},
         R"([{"kind": "overlay", "timeline": "media/title.json"}])",
         "recipe.json: components[0].timeline (media/spot.mov): error: two different files would "
         "land at resource 'spot_preview.png': the still of media/spot.mp4 "
         "(components[0].timeline) "
         "and the still of media/spot.mov (components[0].timeline)",
         "presets[0]",
         ".resources (resources/spot_preview.png): error: the still 'resources/spot_preview.png' "
         "stands for 'resources/spot.mp4'"},
    };
}

void writeRecipe(const QString& folder, const Broken& broken) {
    for (const auto& file : broken.files)
        TestSupport::writeFile(folder + "/" + file.first, file.second);
    TestSupport::writeFile(
        folder + "/recipe.json",
        R"({"name": "Broken", "output": "out.qpack", "components": )" + broken.components + "}");
}

}  // namespace ChecksCorpus
