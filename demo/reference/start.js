SwaggerUIBundle({
    url: 'openapi.json',
    dom_id: '#reference',
    deepLinking: true,
    docExpansion: 'none',
    defaultModelsExpandDepth: 0,
    validatorUrl: null,
});
