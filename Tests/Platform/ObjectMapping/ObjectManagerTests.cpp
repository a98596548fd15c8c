// Descriptor selection and request bodies built from records.
#include <gtest/gtest.h>

#include "Platform/ObjectMapping/InMemoryDestination.h"
#include "Platform/ObjectMapping/ObjectManager.h"

namespace dm {
namespace {

class ObjectManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    objects.registerClass({"Post",
                           {{"entityID", FieldKind::Integer64},
                            {"title", FieldKind::String},
                            {"at", FieldKind::Date}},
                           {{"comments", "Comment", true}, {"author", "User", false}}});
    objects.registerClass({"Draft", {}, {}, "Post"});
    objects.registerClass({"Comment", {{"text", FieldKind::String}}, {}});
    objects.registerClass({"User", {{"name", FieldKind::String}}, {}});
    post = ObjectMapping::entityMapping("Post");
    post->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    post->setIdentificationAttributes({"entityID"});
    comment = ObjectMapping::objectMapping("Comment");
    comment->addAttributeMapping("text", "text");
  }

  InMemoryDestination objects;
  std::shared_ptr<ObjectMapping> post, comment;
};

TEST_F(ObjectManagerTest, SelectsResponseDescriptorsByMethodPathAndStatus) {
  ObjectManager manager;
  manager.addResponseDescriptor({post, RequestMethod::GET | RequestMethod::PUT, "/users/:id/posts",
                                 "posts", ResponseDescriptor::successfulStatusCodes()});
  manager.addResponseDescriptor({comment, RequestMethod::Any, "", "errors", {422}});
  manager.addResponseDescriptor({post, RequestMethod::POST, "/posts", "", {}});

  auto names = [&](RequestMethod method, std::string_view path, int status) {
    std::vector<std::string> keyPaths;
    for (auto* d : manager.matchingResponseDescriptors(method, path, status))
      keyPaths.push_back(d->keyPath() + "@" + d->pathPattern());
    return keyPaths;
  };
  EXPECT_EQ(names(RequestMethod::GET, "/users/5/posts?page=2", 200),
            std::vector<std::string>{"posts@/users/:id/posts"});
  EXPECT_TRUE(names(RequestMethod::DELETE, "/users/5/posts", 200).empty());
  EXPECT_TRUE(names(RequestMethod::GET, "/users/5/posts", 404).empty());
  EXPECT_TRUE(names(RequestMethod::GET, "/users/5/posts/1", 200).empty());
  EXPECT_TRUE(names(RequestMethod::GET, "/users/posts", 200).empty());
  EXPECT_EQ(names(RequestMethod::PUT, "/users/5/posts", 422), std::vector<std::string>{"errors@"});
  EXPECT_EQ(names(RequestMethod::POST, "/posts", 500), std::vector<std::string>{"@/posts"});

  auto parameters = manager.responseDescriptors()[0].matchPath("/users/42/posts");
  ASSERT_TRUE(parameters);
  EXPECT_EQ(*parameters, (std::vector<std::pair<std::string, std::string>>{{"id", "42"}}));
}

TEST_F(ObjectManagerTest, MapsEveryMatchingDescriptorAllOrNothing) {
  ObjectManager manager;
  manager.addResponseDescriptor({post, RequestMethod::GET, "/feed", "posts", {200}});
  manager.addResponseDescriptor({post, RequestMethod::GET, "/feed", "pinned", {200}});
  auto result = manager.mapResponse(RequestMethod::GET, "/feed", 200,
                                    std::string_view(R"({"posts":[{"id":1},{"id":2}],
                                                        "pinned":{"id":2,"title":"p"}})"),
                                    objects);
  ASSERT_EQ(result.byKeyPath.size(), 2u);
  EXPECT_EQ(result.byKeyPath[0].second.size(), 2u);
  EXPECT_EQ(result.byKeyPath[1].second.at(0), result.byKeyPath[0].second.at(1));
  EXPECT_EQ(result.objects.size(), 2u);

  // A missing key path maps nothing; a root of the wrong kind leaves everything untouched.
  manager.mapResponse(RequestMethod::GET, "/feed", 200, nlohmann::json{{"posts", {{{"id", 3}}}}},
                      objects);
  EXPECT_EQ(objects.count("Post"), 3u);
  EXPECT_THROW(
      manager.mapResponse(RequestMethod::GET, "/feed", 200,
                          std::string_view(R"({"posts":[{"id":4}],"pinned":"x"})"), objects),
      MappingError);
  EXPECT_EQ(objects.count("Post"), 3u);
  try {
    manager.mapResponse(RequestMethod::GET, "/other", 200, std::string_view("{}"), objects);
    FAIL();
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::NoMatchingDescriptor);
  }
}

TEST_F(ObjectManagerTest, BuildsRequestBodiesWithRootKeyPathAndNestedRecords) {
  auto request = ObjectMapping::requestMapping();
  request->addAttributeMappings(std::map<std::string, std::string>{
      {"entityID", "id"}, {"title", "meta.title"}, {"at", "at"}});
  auto commentRequest = ObjectMapping::requestMapping();
  commentRequest->addAttributeMapping("text", "body");
  auto userRequest = ObjectMapping::requestMapping();
  userRequest->addAttributeMapping("name", "name");
  request->addRelationshipMapping("comments", "comments", commentRequest);
  request->addRelationshipMapping("author", "author", userRequest);

  ObjectManager manager;
  manager.addRequestDescriptor({request, "Post", "post", RequestMethod::POST | RequestMethod::PUT});

  ObjectRef draft = objects.insert("Draft");  // a subclass uses its superclass's descriptor
  objects.set(draft, "entityID", Value(3));
  objects.set(draft, "title", Value("Hi"));
  objects.set(draft, "at", Value(Date(1795373210.5)));
  ObjectRef c1 = objects.insert("Comment"), c2 = objects.insert("Comment");
  objects.set(c1, "text", Value("one"));
  objects.set(c2, "text", Value("two"));
  objects.link(draft, "comments", {c1, c2});

  auto body = manager.requestBody(objects, draft, RequestMethod::PUT);
  EXPECT_EQ(body, nlohmann::json::parse(R"({"post":{"id":3,"meta":{"title":"Hi"},
      "at":"2026-11-22T18:46:50.500Z","comments":[{"body":"one"},{"body":"two"}],
      "author":null}})"));
  SerializationOptions omit;
  omit.omitNullValues = true;
  objects.set(draft, "title", Value());
  EXPECT_FALSE(
      manager.requestBody(objects, draft, RequestMethod::POST, omit)["post"].contains("author"));
  EXPECT_FALSE(
      manager.requestBody(objects, draft, RequestMethod::POST, omit)["post"].contains("meta"));
  EXPECT_THROW(manager.requestBody(objects, c1, RequestMethod::POST), MappingError);
  EXPECT_THROW(manager.requestBody(objects, draft, RequestMethod::GET), MappingError);
}

TEST_F(ObjectManagerTest, SerializationRefusesCyclesAndUnknownFields) {
  objects.registerClass({"Node", {{"v", FieldKind::Integer64}}, {{"next", "Node", false}}});
  auto node = ObjectMapping::requestMapping();
  node->addAttributeMapping("v", "v");
  node->addRelationshipMapping("next", "next", node);
  ObjectRef a = objects.insert("Node"), b = objects.insert("Node");
  objects.link(a, "next", {b});
  objects.link(b, "next", {a});
  try {
    serializeRequest(*node, objects, a);
    FAIL();
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::NestingTooDeep);
  }
  auto wrong = ObjectMapping::requestMapping();
  wrong->addAttributeMapping("missing", "m");
  EXPECT_THROW(serializeRequest(*wrong, objects, a), MappingError);
}

}  // namespace
}  // namespace dm
